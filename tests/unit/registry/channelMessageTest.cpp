#include "channelTest.h"

#include <cstring>

namespace {

using namespace Varnix::Test;

TEST_F(Channel, UnknownNumbersAreTracedAndIgnored)
{
    startSubscribed();
    Records expected;
    for (const std::uint32_t number : {0x01707084U, 0x01707081U, 0x01707085U, 0x01707088U,
                                       0x01707089U, 0x0170708AU, 0U, 0xFFFFFFFFU}) {
        receives(message(number));
        expected.push_back("ERROR " + site +
                           "\nInvalid message received: message number: " + std::to_string(number));
    }
    EXPECT_EQ(expected.front(),
              "ERROR " + site + "\nInvalid message received: message number: 24146052");
    EXPECT_EQ(traced(), expected);
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_TRUE(isSubscribed(77));
}

TEST_F(Channel, FewerThanFourWordsAreInvalid)
{
    startSubscribed();
    Records expected;
    for (const std::int32_t argc : {3, 0, -1, -2147483647 - 1}) {
        receives(bytesOf({DBCSI_DBWRITE_IND, 0, 0, static_cast<std::uint32_t>(argc), 0}));
        expected.push_back("ERROR " + site +
                           "\nInvalid DBCSI_DBWRITE_IND received, argc: " + std::to_string(argc));
    }
    EXPECT_EQ(traced(), expected);
    EXPECT_TRUE(isSubscribed(77));
}

TEST_F(Channel, EveryFormReachesItsOperation)
{
    startSubscribed();
    const std::string trace1 = "TRACE1 dbRegistryImpl.cpp: updateDbs, key: /nowhere, ";
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"-c", "17"}, "append:0, value: 17"},
        {{"-a", "abc"}, "append:1, value: abc"},
        {{"5"}, "index: 0, values: 5,"},
        {{"-i", "2", "7", "8"}, "index: 2, values: 7,8,"},
        {{"-r", "4", "-i", "1", "9"}, "index: 1, values: 9,9,9,9,"},
    };
    for (const auto& [options, traceText] : cases) {
        std::vector<std::string> words = {"", "", "/nowhere"};
        words.insert(words.end(), options.begin(), options.end());
        receives(writeIndication(words));
        EXPECT_EQ(traced(), Records{trace1 + traceText});
    }
}

TEST_F(Channel, RejectedFormIsTraced)
{
    startSubscribed();
    receives(writeIndication({"", "", "/unit/gain", "-i", "x", "7"}));
    EXPECT_EQ(traced(), Records{"ERROR " + site + "\nDBCSI_DBWRITE_IND with invalid index: x"});
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_TRUE(isSubscribed(77));
}

TEST_F(Channel, LoneMinusIsTracedAndTheThreadGoesOn)
{
    startSubscribed();
    receives(writeIndication({"", "", "/unit/gain", "-"}));
    EXPECT_EQ(
        traced(),
        (Records{"TRACE1 dbRegistryImpl.cpp: updateDbs, key: /unit/gain, index: 0, values: -,",
                 "ERROR " + site + "\nDBCSI_DBWRITE_IND could not be handled: stoll"}));
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_TRUE(isSubscribed(77));
}

TEST_F(Channel, RecordsNameTheSourceFile)
{
    startSubscribed();
    receives(message(0));
    const std::vector<TraceRecord> records = TraceSession::ofThisProcess().take();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records.front().file, "itc_communication.cpp");
    EXPECT_EQ(records.front().level, 3);
    EXPECT_GT(records.front().line, 0U);
}

} // namespace
