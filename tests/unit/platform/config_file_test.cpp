#include "platform/config/config_file.h"
#include "unit/platform/scripted_terminal.h"
#include <cstdlib>
#include <gtest/gtest.h>

namespace {
config_file read_back(const std::string &text)
{
    const file_in_environment file("LPA_TEST_FILE", text);
    return config_file__read(getenv("LPA_TEST_FILE"));
}

TEST(config_file, holds_one_json_value)
{
    EXPECT_EQ(read_back(" {\"a\": [1, \"\\u00e9\"]} \r\n").root, nlohmann::json({{"a", {1, "\u00e9"}}}));
    for (const char *damaged : {"", "  ", "{\"a\":1", "1 2", "[1,]", "\"\xFF\""}) {
        const config_file file = read_back(damaged);
        EXPECT_TRUE(file.root.is_discarded()) << damaged;
        EXPECT_EQ(file.problem, "it is not well-formed JSON") << damaged;
        EXPECT_FALSE(file.missing) << damaged;
    }
}

TEST(config_file, has_64_KiB_at_most)
{
    const std::string largest = "[1" + std::string(64 * 1024 - 3, ' ') + "]";
    EXPECT_EQ(read_back(largest).root, nlohmann::json({1}));
    const config_file larger = read_back(largest + " ");
    EXPECT_TRUE(larger.root.is_discarded());
    EXPECT_EQ(larger.problem, "File too large");
}

TEST(config_file, that_cannot_be_read_is_told)
{
    const config_file folder = config_file__read("/tmp");
    EXPECT_TRUE(folder.root.is_discarded());
    EXPECT_EQ(folder.problem, "Is a directory");
    EXPECT_FALSE(folder.missing);
    const config_file absent = config_file__read("/tmp/no/such/file");
    EXPECT_EQ(absent.problem, "No such file or directory");
    EXPECT_TRUE(absent.missing);
}

TEST(config_file, members_of_what_is_no_object_are_absent)
{
    const nlohmann::json object = {{"a", 1}};
    EXPECT_EQ(*config_file__member(&object, "a"), 1);
    EXPECT_EQ(config_file__member(&object, "b"), nullptr);
    EXPECT_EQ(config_file__member(&object["a"], "a"), nullptr);
    EXPECT_EQ(config_file__member(nullptr, "a"), nullptr);
}
} // namespace
