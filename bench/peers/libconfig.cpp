#include "bench/peers.h"
#include "bench/reads.h"

#include <cstring>
#include <memory>
#include <stdexcept>

#include <libconfig.h>

namespace Varnix::Bench {

namespace {

/** A parsed configuration: integer arrays, or strings, in the groups that the keys name. */
class Store
{
public:
    Store(const Value& value, std::size_t count) : m_text(isText(value))
    {
        config_init(&m_config);
        for (std::size_t i = 0; i < count; ++i)
            add(keyOf(i), bytesOf(value, i));
    }
    explicit Store(const std::string& path)
    {
        config_init(&m_config);
        if (config_read_file(&m_config, path.c_str()) == CONFIG_FALSE)
            throw std::runtime_error("cannot load " + path);
    }
    ~Store() { config_destroy(&m_config); }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    void write(const std::string& path)
    {
        if (config_write_file(&m_config, path.c_str()) == CONFIG_FALSE)
            throw std::runtime_error("cannot write " + path);
    }

    unsigned readText(const std::string& path, std::string& output) const
    {
        const char* text = nullptr;
        if (config_lookup_string(&m_config, path.c_str(), &text) == CONFIG_FALSE)
            std::abort();
        output = text;
        return static_cast<unsigned char>(output.front());
    }

    unsigned readNumbers(const std::string& path, std::vector<int>& output) const
    {
        const config_setting_t* const array = config_lookup(&m_config, path.c_str());
        if (array == nullptr)
            std::abort();
        output.resize(static_cast<std::size_t>(config_setting_length(array)));
        for (std::size_t i = 0; i < output.size(); ++i)
            output[i] = config_setting_get_int_elem(array, static_cast<int>(i));
        return static_cast<unsigned>(output.front());
    }

private:
    static config_setting_t* group(config_setting_t* parent, const std::string& name)
    {
        config_setting_t* const found = config_setting_get_member(parent, name.c_str());
        return found != nullptr ? found
                                : config_setting_add(parent, name.c_str(), CONFIG_TYPE_GROUP);
    }

    void add(const std::string& key, const std::string& bytes)
    {
        config_setting_t* parent = config_root_setting(&m_config);
        std::size_t start = 1;
        for (std::size_t end = key.find('/', start); end != std::string::npos;
             end = key.find('/', start)) {
            parent = group(parent, key.substr(start, end - start));
            start = end + 1;
        }
        config_setting_t* const setting = config_setting_add(
            parent, key.c_str() + start, m_text ? CONFIG_TYPE_STRING : CONFIG_TYPE_ARRAY);
        if (setting == nullptr)
            throw std::runtime_error("no setting " + key);
        if (m_text)
            config_setting_set_string(setting, bytes.c_str());
        for (std::size_t i = 0; !m_text && i < bytes.size(); ++i)
            config_setting_set_int_elem(setting, -1, bytes[i]);
    }

    bool m_text = false;
    config_t m_config{};
};

/** "/unit/branch00/p00000" as a path of libconfig. */
std::vector<std::string> pathsOf(std::vector<std::string> keys)
{
    for (std::string& key : keys) {
        key.erase(0, 1);
        std::replace(key.begin(), key.end(), '/', '.');
    }
    return keys;
}

/** One integer an element, whatever its width in a database file. */
Value elementsOf(Value value)
{
    value.size = isText(value) ? value.size : value.elements();
    return value;
}

void write(const std::string& path, const Parameters& parameters)
{
    Store(elementsOf(parameters.value), parameters.count).write(path);
}

std::shared_ptr<void> load(const std::string& path)
{
    return std::make_shared<Store>(path);
}

void addAllReads(const Node& /*node*/)
{
    for (const Value& value : commonValues) {
        const auto store = std::make_shared<Store>(elementsOf(value), keyCount);
        const std::string name = std::string(value.name) + "/libconfig";
        if (isText(value)) {
            addReads(name, pathsOf(shuffledKeys()), [store] {
                return [store, output = std::string()](const std::string& path) mutable {
                    return store->readText(path, output);
                };
            });
        } else {
            addReads(name, pathsOf(shuffledKeys()), [store] {
                return [store, output = std::vector<int>()](const std::string& path) mutable {
                    return store->readNumbers(path, output);
                };
            });
        }
    }
}

} // namespace

const Peer libconfig{"libconfig", write, load, addAllReads};

} // namespace Varnix::Bench
