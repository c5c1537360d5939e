#include "unit/platform/scripted_terminal.h"
#include <cstdlib>
#include <gmock/gmock.h>
#include <lmnfinfo.h>

namespace {
TEST(lmnfinfo, gives_the_profiles_of_the_file)
{
    const file_in_environment file(
        "LPA_FACTORY", R"({"profiles":["8944500000000000001","8944500000000000002"],"boot_profile":"894450"})");
    EXPECT_STREQ(lmnfinfo_get_profile(0), "8944500000000000001");
    EXPECT_STREQ(lmnfinfo_get_profile(1), "8944500000000000002");
    for (const int index : {2, 5, 6, -1})
        EXPECT_EQ(lmnfinfo_get_profile(index), nullptr) << index;
    EXPECT_STREQ(lmnfinfo_get_boot_profile(), "894450");
}

TEST(lmnfinfo, gives_six_profiles_at_most)
{
    const file_in_environment file("LPA_FACTORY", R"({"profiles":["0","1","2","3","4","5","6"]})");
    EXPECT_STREQ(lmnfinfo_get_profile(0), "0");
    EXPECT_STREQ(lmnfinfo_get_profile(5), "5");
    EXPECT_EQ(lmnfinfo_get_profile(6), nullptr);
    EXPECT_EQ(lmnfinfo_get_boot_profile(), nullptr);
}

TEST(lmnfinfo, shows_one_reading_to_a_walk_from_zero_on)
{
    const file_in_environment file("LPA_FACTORY", R"({"profiles":["10","11"]})");
    EXPECT_STREQ(lmnfinfo_get_profile(0), "10");
    file.rewrite(R"({"profiles":["20","21"]})");
    EXPECT_STREQ(lmnfinfo_get_profile(1), "11");
    EXPECT_STREQ(lmnfinfo_get_profile(0), "20");
    EXPECT_STREQ(lmnfinfo_get_profile(1), "21");
}

TEST(lmnfinfo, keeps_the_texts_it_gave_away)
{
    const file_in_environment file("LPA_FACTORY", R"({"boot_profile":"first"})");
    const char *first = lmnfinfo_get_boot_profile();
    file.rewrite(R"({"boot_profile":"second"})");
    EXPECT_STREQ(lmnfinfo_get_boot_profile(), "second");
    EXPECT_STREQ(first, "first");
    file.rewrite(R"({"boot_profile":"first"})");
    EXPECT_EQ(lmnfinfo_get_boot_profile(), first);
}

TEST(lmnfinfo, has_nothing_without_a_file)
{
    setenv("LPA_FACTORY", "/tmp/no/such/file", 1);
    captured_stderr messages;
    EXPECT_EQ(lmnfinfo_get_profile(0), nullptr);
    EXPECT_EQ(lmnfinfo_get_boot_profile(), nullptr);
    EXPECT_EQ(messages.text(), "");
    unsetenv("LPA_FACTORY");
}

TEST(lmnfinfo, tells_that_a_file_is_damaged)
{
    const file_in_environment file("LPA_FACTORY", R"({"profiles":[)");
    captured_stderr messages;
    EXPECT_EQ(lmnfinfo_get_profile(0), nullptr);
    EXPECT_EQ(messages.text(),
              std::string("lmnfinfo: cannot use ") + getenv("LPA_FACTORY") + ": it is not well-formed JSON\n");
}

TEST(lmnfinfo, leaves_out_what_is_no_text)
{
    const file_in_environment file("LPA_FACTORY", R"({"profiles":[17,"b",null],"boot_profile":false})");
    EXPECT_EQ(lmnfinfo_get_profile(0), nullptr);
    EXPECT_STREQ(lmnfinfo_get_profile(1), "b");
    EXPECT_EQ(lmnfinfo_get_boot_profile(), nullptr);
}
} // namespace
