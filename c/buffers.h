#ifndef VARNIX_C_BUFFERS_H
#define VARNIX_C_BUFFERS_H

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace Varnix::C {

/** Where one read puts its key and its value, so that the next one need not allocate. */
struct Buffer
{
    std::string key;
    std::tuple<std::vector<std::uint32_t>, std::vector<std::uint16_t>, std::vector<std::uint8_t>,
               std::vector<std::int32_t>, std::vector<std::int16_t>, std::vector<std::int8_t>,
               std::string, std::vector<std::string>>
        values;
};

/**
 * The buffers of a handle. They belong to it and not to threads, since a thread's own would keep
 * the library from being unloaded. Taking one never waits, so a read may come in the middle of
 * another.
 */
class Buffers
{
public:
    static constexpr std::size_t count = 8;

    /** One buffer, for as long as it lives; one of its own where all are taken. */
    class Loan
    {
    public:
        explicit Loan(Buffers& buffers);
        ~Loan();
        Loan(const Loan&) = delete;
        Loan& operator=(const Loan&) = delete;

        Buffer& operator*() noexcept { return *m_buffer; }

    private:
        std::atomic_flag* m_taken = nullptr;
        std::optional<Buffer> m_own;
        Buffer* m_buffer = nullptr;
    };

private:
    struct Slot
    {
        std::atomic_flag taken;
        Buffer buffer;
    };
    std::array<Slot, count> m_slots;
};

} // namespace Varnix::C

#endif
