#ifndef VARNIX_BENCH_PEERS_BYTESTORE_H
#define VARNIX_BENCH_PEERS_BYTESTORE_H

#include "bench/peers.h"
#include "bench/reads.h"

#include <memory>
#include <string>
#include <vector>

/**
 * What the peers have in common whose values are bytes: `Store` opens a path, walks its records and
 * reads a value into a buffer of its size.
 */
namespace Varnix::Bench {

template <typename Store>
std::shared_ptr<void> loadStore(const std::string& path)
{
    const auto store = std::make_shared<Store>(path);
    store->walk();
    return store;
}

template <typename Store>
void addStoreReads(const Node& node, const Peer& peer)
{
    for (const Value& value : commonValues) {
        const std::string path = node.directory() / (std::string(value.name) + '.' + peer.name);
        peer.write(path, {value, keyCount});
        const auto store = std::make_shared<Store>(path);
        addReads(
            std::string(value.name) + '/' + peer.name, shuffledKeys(), [store, size = value.size] {
                return [store, output = std::vector<unsigned char>(size)](
                           const std::string& key) mutable { return store->read(key, output); };
            });
    }
}

} // namespace Varnix::Bench

#endif
