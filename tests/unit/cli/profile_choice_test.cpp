// Profiles by ICCID, by the end of it, by nickname.
#include "cli/outcome.h"
#include "unit/cli/scripted_library.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class profile_choice : public testing::Test {
  protected:
    void SetUp() override
    {
        library = {};
        library.document = R"({"result":0,"description":"done"})";
        library.outcomes["get_profiles"] = {
            0, R"([{"iccid":"8900000000000001234","status":1,"nickname":"home","bootstrap":0},)"
               R"({"iccid":"8900000000000011234","status":0,"nickname":"1234","bootstrap":0},)"
               R"({"iccid":"8900000000000005678","status":0,"nickname":"twin","bootstrap":0},)"
               R"({"iccid":"8900000000000009999","status":0,"nickname":"twin","bootstrap":0}])"};
    }
};

TEST_F(profile_choice, does_not_ask_the_card_about_an_iccid)
{
    for (const char *iccid : {"890000000000000123", "8900000000000001234", "89000000000000012345"}) {
        library.calls.clear();
        EXPECT_EQ(run({"disable", iccid}).status, 0);
        EXPECT_THAT(library.calls, ElementsAre(std::string("disable_profile modem0 ") + iccid));
    }
}

TEST_F(profile_choice, takes_digits_for_an_iccid_only_when_they_begin_like_one)
{
    EXPECT_EQ(run({"disable", "9800000000000001234"}).status, 0); // in the card's order
    EXPECT_THAT(library.calls, ElementsAre("disable_profile modem0 9800000000000001234"));
    const run_outcome outcome = run({"disable", "7900000000000001234"});
    EXPECT_EQ(outcome.status, EXIT__NOT_FOUND);
    EXPECT_THAT(outcome.err, HasSubstr("8900000000000001234")) << "what is meant, perhaps";
}

struct choice_case {
    const char *name, *text, *iccid;
};
class chosen : public profile_choice, public testing::WithParamInterface<choice_case> {};

TEST_P(chosen, is_found)
{
    for (const char *command : {"enable", "disable"}) {
        library.calls.clear();
        EXPECT_EQ(run({command, GetParam().text, "-m", "modem2"}).status, 0);
        EXPECT_THAT(library.calls,
                    ElementsAre("get_profiles modem2", std::string(command) + "_profile modem2 " + GetParam().iccid));
    }
    library.calls.clear();
    EXPECT_EQ(run({"nickname", GetParam().text, "new"}).status, 0);
    EXPECT_EQ(library.calls.back(), std::string("set_profile_nickname modem0 ") + GetParam().iccid + " new");
    EXPECT_THAT(run({"delete", GetParam().text}, "n").err,
                StartsWith(std::string("lpa: modem0: Delete profile ") + GetParam().iccid + " from the card? [y/N] "));
}

INSTANTIATE_TEST_SUITE_P(table, chosen,
                         testing::ValuesIn(std::vector<choice_case>{
                             {"nickname", "home", "8900000000000001234"},
                             {"shortest_end", "5678", "8900000000000005678"},
                             {"long_end", "000000000011234", "8900000000000011234"},
                         }),
                         [](const auto &info) { return std::string(info.param.name); });

struct no_choice_case {
    const char *name, *text;
    std::vector<const char *> shown;
};
class not_chosen : public profile_choice, public testing::WithParamInterface<no_choice_case> {};

TEST_P(not_chosen, does_nothing_and_lists_the_candidates)
{
    const run_outcome outcome = run({"enable", GetParam().text});
    EXPECT_EQ(outcome.status, EXIT__NOT_FOUND);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), std::ssize(GetParam().shown) + 2);
    for (const char *iccid : GetParam().shown)
        EXPECT_THAT(outcome.err, HasSubstr(iccid));
    EXPECT_THAT(library.calls, ElementsAre("get_profiles modem0"));
    const json document = json::parse(run({"enable", "--json", GetParam().text}).out);
    EXPECT_EQ(document.at("result"), EXIT__NOT_FOUND);
    EXPECT_EQ(document.at("candidates").size(), GetParam().shown.size());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, not_chosen, testing::ValuesIn(std::vector<no_choice_case>{
    {"end_of_one_and_nickname_of_another", "1234", {"8900000000000001234", "8900000000000011234"}},
    {"nickname_of_two", "twin", {"8900000000000005678", "8900000000000009999"}},
    {"unknown", "office", {"8900000000000001234", "8900000000000011234", "8900000000000005678", "8900000000000009999"}},
    {"end_too_short", "678", {"8900000000000001234", "8900000000000011234", "8900000000000005678", "8900000000000009999"}},
    {"beginning", "8900", {"8900000000000001234", "8900000000000011234", "8900000000000005678", "8900000000000009999"}},
}), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

TEST_F(profile_choice, ends_with_the_code_when_the_list_cannot_be_had)
{
    library.outcomes["get_profiles"] = {14, std::nullopt};
    const run_outcome outcome = run({"enable", "home"});
    EXPECT_EQ(outcome.status, 14);
    EXPECT_THAT(outcome.err, StartsWith("lpa: enable: code 14 (result code 14)\n"));
    EXPECT_THAT(library.calls, ElementsAre("get_profiles modem0"));
}

TEST_F(profile_choice, asks_for_the_iccid_when_the_list_cannot_be_read)
{
    for (const std::optional<std::string> &document :
         {std::optional<std::string>("[{"), std::optional<std::string>()}) {
        library.outcomes["get_profiles"] = {0, document};
        const run_outcome outcome = run({"enable", "home"});
        EXPECT_EQ(outcome.status, EXIT__NOT_FOUND);
        EXPECT_THAT(outcome.err, HasSubstr("give the ICCID"));
    }
}

TEST_F(profile_choice, tells_that_the_card_is_empty)
{
    library.outcomes["get_profiles"] = {0, "[]"};
    EXPECT_THAT(run({"enable", "home"}).err, testing::EndsWith("or nickname\nNo profiles.\n"));
}

} // namespace
