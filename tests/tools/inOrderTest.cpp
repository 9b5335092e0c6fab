#include "tools/varnix/inOrder.h"

#include "tests/support/waitUntil.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include <gtest/gtest.h>

namespace Varnix::Test {
namespace {

using Tool::InOrder;

/** How many results a thread may be ahead of the one that is taken. */
constexpr std::size_t ahead = 16;

TEST(InOrder, GivesEachIndexItsResultInOrder)
{
    std::size_t taken = 0;
    InOrder<std::size_t>(1000, 4, [](std::size_t i) {
        return 2 * i;
    }).takeAll([&taken](std::size_t i, std::size_t result) {
        EXPECT_EQ(i, taken++);
        EXPECT_EQ(result, 2 * i);
    });
    EXPECT_EQ(taken, 1000U);
}

TEST(InOrder, MakesNoMoreResultsThanMayWait)
{
    constexpr std::size_t count = 60;
    for (const std::size_t threads : {1U, 2U}) {
        std::atomic<std::size_t> made = 0;
        const auto hasMade = [&made](std::size_t wanted) {
            return waitUntil([&made, wanted] { return made >= wanted; }) && made == wanted;
        };
        InOrder<std::size_t> results(count, threads, [&made](std::size_t) { return ++made; });
        EXPECT_TRUE(hasMade(threads * ahead)) << made;
        results.takeAll([&](std::size_t i, std::size_t) {
            EXPECT_TRUE(hasMade(std::min(i + 1 + threads * ahead, count))) << i << ": " << made;
        });
    }
}

TEST(InOrder, MakesAsManyAtOnceAsThereAreThreads)
{
    constexpr std::size_t threads = 3;
    std::atomic<std::size_t> making = 0;
    std::atomic<bool> mayEnd = false;
    InOrder<bool> results(100, threads, [&](std::size_t) {
        ++making;
        return waitUntil([&mayEnd] { return mayEnd.load(); });
    });
    EXPECT_TRUE(waitUntil([&making] { return making >= threads; }));
    EXPECT_EQ(making, threads);
    mayEnd = true;
}

TEST(InOrder, WhatMakingThrowsIsThrownByTaking)
{
    InOrder<std::size_t> results(
        100, 3, [](std::size_t i) { return i < 50 ? i : throw std::runtime_error("made"); });
    EXPECT_THROW(results.takeAll([](std::size_t, std::size_t) {}), std::runtime_error);
}

TEST(InOrder, EndsWhereTakingThrows)
{
    std::atomic<std::size_t> made = 0;
    const auto takeOne = [&made] {
        InOrder<std::size_t>(1000, 1, [&made](std::size_t) {
            return ++made;
        }).takeAll([](std::size_t, std::size_t) { throw std::runtime_error("taken"); });
    };
    EXPECT_THROW(takeOne(), std::runtime_error);
    EXPECT_LE(made, 1 + ahead);
}

} // namespace
} // namespace Varnix::Test
