#include "cli/outcome.h"
#include "unit/cli/scripted_library.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using testing::ElementsAre;
using testing::HasSubstr;

class status : public testing::Test {
  protected:
    void SetUp() override
    {
        library = {};
        library.outcomes = {
            {"get_eid", {0, R"({"eid":"8904"})"}},
            {"get_addresses", {0, R"({"smds":"ds.example","smdp":"dp.example"})"}},
            {"get_free_memory", {0, R"({"free_memory":65536})"}},
            {"get_profiles", {0, R"([{"iccid":"8900000000000001234","status":1,"name":"Data","bootstrap":0}])"}},
            {"get_notifications", {0, R"([{"sequence_number":5,"event":0,"address":"a.example"}])"}},
        };
    }
};

TEST_F(status, is_one_screen)
{
    const run_outcome outcome = run({"status", "-m", "modem1"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "Modem:           modem1\n"
                           "EID:             8904\n"
                           "Root SM-DS:      ds.example\n"
                           "Default SM-DP+:  dp.example\n"
                           "Free memory:     65536 bytes\n"
                           "\n"
                           "ICCID                STATE    NAME  PROVIDER  NICKNAME\n"
                           "8900000000000001234  enabled  Data  -         -\n"
                           "\n"
                           "NUMBER  EVENT    ICCID  ADDRESS\n"
                           "5       install  -      a.example\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(status, is_one_object)
{
    EXPECT_EQ(
        run({"status", "--json"}).out,
        R"({"modem":"modem0","eid":"8904","addresses":{"smds":"ds.example","smdp":"dp.example"},)"
        R"("free_memory":65536,"profiles":[{"iccid":"8900000000000001234","status":1,"name":"Data","bootstrap":0}],)"
        R"("notifications":[{"sequence_number":5,"event":0,"address":"a.example"}]})"
        "\n");
}

TEST_F(status, ends_with_a_card_that_tells_no_eid)
{
    library.outcomes["get_eid"] = {15, std::nullopt};
    const run_outcome outcome = run({"status"});
    EXPECT_EQ(outcome.status, 15);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(library.calls, ElementsAre("get_eid modem0"));
    EXPECT_EQ(run({"status", "--json"}).out, "{\"result\":15,\"description\":\"code 15\"}\n");
}

TEST_F(status, shows_what_can_be_read)
{
    library.outcomes["get_free_memory"] = {6, std::nullopt};
    library.outcomes["get_profiles"] = {16, R"({"result":1,"description":"no"})"};
    library.outcomes["get_notifications"] = {0, std::nullopt};
    const run_outcome outcome = run({"status"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.out, "Modem:           modem0\n"
                           "EID:             8904\n"
                           "Root SM-DS:      ds.example\n"
                           "Default SM-DP+:  dp.example\n"
                           "Free memory:     not read, code 6\n"
                           "Profiles: not read, code 16\n"
                           "Notifications: not read, code 8\n");
    EXPECT_THAT(outcome.err, testing::StartsWith("lpa: status: code 6 (result code 6)\n"));
    const json document = json::parse(run({"status", "--json"}).out);
    EXPECT_EQ(document.at("free_memory"), json::parse(R"({"result":6,"description":"code 6"})"));
    EXPECT_EQ(document.at("addresses").at("smdp"), "dp.example");
}

} // namespace
