#ifndef VARNIX_EXAMPLES_WATCHER_FEED_H
#define VARNIX_EXAMPLES_WATCHER_FEED_H

#include <chrono>
#include <cstdint>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>

#include <varnix/kit/fakeDatabase.h>
#include <varnix/kit/watcher.h>

/** What the examples of loops share: a parameter that changes on its own, and who watches it. */
class Feed
{
public:
    Feed() : m_database(std::make_shared<Varnix::Kit::FakeDatabase>())
    {
        watcher.add(Varnix::Kit::Parameter<std::uint16_t>(m_database, "/unit/gain"),
                    [this](std::uint16_t gain) {
                        std::cout << "gain " << gain << std::endl;
                        m_last = gain;
                    });
        m_operator = std::thread([this] {
            for (std::uint16_t gain = 1; gain <= 3; ++gain) {
                m_database->set("/unit/gain", std::vector<std::uint16_t>{gain});
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        });
    }
    ~Feed() { m_operator.join(); }
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

    /** The example ends with the last value: whatever else is missed, that one is not. */
    bool isOver() const { return m_last == 3; }

    Varnix::Kit::Watcher watcher{std::chrono::milliseconds(5)};

private:
    std::shared_ptr<Varnix::Kit::FakeDatabase> m_database;
    std::uint16_t m_last = 0;
    std::thread m_operator;
};

#endif
