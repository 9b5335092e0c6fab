#ifndef VARNIX_BENCH_PEERS_H
#define VARNIX_BENCH_PEERS_H

#include "bench/node.h"

#include <memory>
#include <string>

namespace Varnix::Bench {

/** A store that a user could take instead. */
struct Peer
{
    const char* name;

    /** Writes parameters into a file of the peer's own format. */
    void (*write)(const std::string& path, const Parameters& parameters);

    /**
     * Makes such a file ready to be read, as a fresh process does; the result keeps it so. What
     * maps its file is walked once, record by record, so that all of it is in reach.
     */
    std::shared_ptr<void> (*load)(const std::string& path);

    /** Registers the reads of every common value. */
    void (*addReads)(const Node& node);
};

extern const Peer keyFile;
extern const Peer libconfig;
extern const Peer lmdb;
extern const Peer sqlite;
extern const Peer tinyCdb;

inline constexpr const Peer* peers[] = {&lmdb, &tinyCdb, &sqlite, &libconfig, &keyFile};

} // namespace Varnix::Bench

#endif
