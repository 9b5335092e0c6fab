#include "bench/peers.h"
#include "bench/reads.h"

#include <memory>
#include <span>
#include <stdexcept>

#include <glib.h>

namespace Varnix::Bench {

namespace {

constexpr const char* group = "unit";

using KeyFile = std::shared_ptr<GKeyFile>;

/** A key file with integer lists, or strings, in one group. */
KeyFile makeKeyFile(const Value& value, std::size_t count)
{
    KeyFile file(g_key_file_new(), g_key_file_free);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string bytes = bytesOf(value, i);
        std::vector<gint> numbers(bytes.begin(), bytes.end());
        numbers.resize(value.elements());
        if (isText(value))
            g_key_file_set_string(file.get(), group, keyOf(i).c_str(), bytes.c_str());
        else
            g_key_file_set_integer_list(file.get(), group, keyOf(i).c_str(), numbers.data(),
                                        numbers.size());
    }
    return file;
}

template <typename T>
using Owned = std::unique_ptr<T, decltype(&g_free)>;

unsigned readText(GKeyFile* file, const std::string& key, std::string& output)
{
    const Owned<gchar> text(g_key_file_get_string(file, group, key.c_str(), nullptr), g_free);
    if (!text)
        std::abort();
    output = text.get();
    return static_cast<unsigned char>(output.front());
}

unsigned readNumbers(GKeyFile* file, const std::string& key, std::vector<gint>& output)
{
    gsize count = 0;
    const Owned<gint> numbers(
        g_key_file_get_integer_list(file, group, key.c_str(), &count, nullptr), g_free);
    if (!numbers)
        std::abort();
    const std::span elements(numbers.get(), count);
    output.assign(elements.begin(), elements.end());
    return static_cast<unsigned>(output.front());
}

void write(const std::string& path, const Parameters& parameters)
{
    const KeyFile file = makeKeyFile(parameters.value, parameters.count);
    if (g_key_file_save_to_file(file.get(), path.c_str(), nullptr) == FALSE)
        throw std::runtime_error("cannot write " + path);
}

std::shared_ptr<void> load(const std::string& path)
{
    KeyFile file(g_key_file_new(), g_key_file_free);
    if (g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr) == FALSE)
        throw std::runtime_error("cannot load " + path);
    return file;
}

void addAllReads(const Node& /*node*/)
{
    for (const Value& value : commonValues) {
        const KeyFile file = makeKeyFile(value, keyCount);
        const std::string name = std::string(value.name) + "/GKeyFile";
        if (isText(value)) {
            addReads(name, shuffledKeys(), [file] {
                return [file, output = std::string()](const std::string& key) mutable {
                    return readText(file.get(), key, output);
                };
            });
        } else {
            addReads(name, shuffledKeys(), [file] {
                return [file, output = std::vector<gint>()](const std::string& key) mutable {
                    return readNumbers(file.get(), key, output);
                };
            });
        }
    }
}

} // namespace

const Peer keyFile{"GKeyFile", write, load, addAllReads};

} // namespace Varnix::Bench
