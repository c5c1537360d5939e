#include "foundation/log.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/foundation/log_fixture.h"
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
class log_string : public log_fixture {
  protected:
    log_string() { g_log_level = LOG__TRACE; }
    static constexpr uint32_t prefix_length = 48; // with seconds of three digits
};

TEST_F(log_string, writes_date_level_elapsed_time_and_message_on_one_line)
{
    g_clock_data = {6, 998765933};
    log__string(LOG__INFO, "[caller] rc %d, %s", 7, "text");
    EXPECT_EQ(written(), "[16/11/2026 03:17:39] [INFO]  [000.001234567 s]\t[caller] rc 7, text\n");
}

TEST_F(log_string, has_a_tag_of_seven_characters_for_each_level)
{
    for (int32_t level = LOG__ERROR; level <= LOG__TRACE; ++level)
        log__string(level, "m");
    EXPECT_EQ(written(), "[16/11/2026 03:17:39] [ERROR] [007.000000500 s]\tm\n"
                         "[16/11/2026 03:17:39] [WARN]  [000.000000000 s]\tm\n"
                         "[16/11/2026 03:17:39] [INFO]  [000.000000000 s]\tm\n"
                         "[16/11/2026 03:17:39] [DEBUG] [000.000000000 s]\tm\n"
                         "[16/11/2026 03:17:39] [TRACE] [000.000000000 s]\tm\n");
}

TEST_F(log_string, borrows_a_second_when_the_nanoseconds_are_fewer)
{
    g_clock_data = {1, 900000000};
    system_calls.monotonic_clock = timespec{3, 100000000};
    log__string(LOG__ERROR, "m");
    EXPECT_EQ(written(), "[16/11/2026 03:17:39] [ERROR] [001.200000000 s]\tm\n");
}

TEST_F(log_string, tells_the_time_since_the_clocks_origin_in_the_first_line_and_since_the_last_line_then)
{
    system_calls.monotonic_clock = timespec{1234567, 1};
    log__string(LOG__ERROR, "a");
    system_calls.monotonic_clock = timespec{1234570, 3};
    log__string(LOG__ERROR, "b");
    EXPECT_EQ(written(), "[16/11/2026 03:17:39] [ERROR] [1234567.000000001 s]\ta\n"
                         "[16/11/2026 03:17:39] [ERROR] [003.000000002 s]\tb\n");
}

TEST_F(log_string, writes_lines_up_to_the_current_level_only)
{
    g_log_level = LOG__WARN;
    log__string(LOG__ERROR, "a");
    log__string(LOG__WARN, "b");
    log__string(LOG__INFO, "c");
    EXPECT_EQ(written(), "[16/11/2026 03:17:39] [ERROR] [007.000000500 s]\ta\n"
                         "[16/11/2026 03:17:39] [WARN]  [000.000000000 s]\tb\n");
}

TEST_F(log_string, writes_a_level_outside_1_to_5_without_any_prefix)
{
    g_log_level = 6;
    log__string(6, "six");
    log__string(0, "zero");
    log__string(-1, "minus one");
    EXPECT_EQ(written(), "six\nzero\nminus one\n");
    EXPECT_EQ(g_clock_data.seconds, 0) << "a line without prefix does not restart the elapsed time";
}

TEST_F(log_string, goes_without_prefix_when_the_clock_cannot_be_read)
{
    system_calls.monotonic_clock_fails = true;
    log__string(LOG__ERROR, "m");
    EXPECT_EQ(written(), "m\n");
}

TEST_F(log_string, cuts_a_message_so_that_the_line_is_8196_characters_with_its_newline)
{
    for (const uint32_t surplus : {1U, 2U, 1000U}) {
        std::filesystem::remove(log_file);
        const std::string message(8195 - prefix_length + surplus, 'x');
        log__string(LOG__ERROR, "%s", message.c_str());
        const std::string line = written();
        EXPECT_EQ(line.size(), 8196U);
        EXPECT_EQ(line.substr(prefix_length), std::string(8195 - prefix_length, 'x') + "\n");
    }
}

TEST_F(log_string, leaves_the_longest_message_that_fits_whole)
{
    const std::string message(8195 - prefix_length, 'x');
    log__string(LOG__ERROR, "%s", message.c_str());
    EXPECT_EQ(written(), "[16/11/2026 03:17:39] [ERROR] [007.000000500 s]\t" + message + "\n");
}

TEST_F(log_string, cuts_a_line_without_prefix_at_the_same_length)
{
    log__string(0, "%s", std::string(9000, 'x').c_str());
    EXPECT_EQ(written(), std::string(8195, 'x') + "\n");
}

TEST_F(log_string, writes_nothing_when_the_message_cannot_be_formatted)
{
    const wchar_t unrepresentable[] = {0x1F600, 0}; // in the C locale
    log__string(LOG__ERROR, "%ls", unrepresentable);
    EXPECT_EQ(written(), "");
}

TEST_F(log_string, echoes_the_same_line_to_standard_error_when_the_flag_is_set)
{
    EXPECT_EQ(console([] { log__string(LOG__ERROR, "silent"); }), "");
    g_log_to_console = 1;
    EXPECT_EQ(console([] { log__string(LOG__WARN, "told"); }),
              "[16/11/2026 03:17:39] [WARN]  [000.000000000 s]\ttold\n");
}

TEST_F(log_string, gives_the_file_the_directorys_owner_and_mode_0660)
{
    // Without privileges the namespace has one user only; the directory keeps its owner then.
    const bool has_other_users = chown(log_directory, 1234, 1235) == 0;
    struct stat directory = {};
    struct stat file = {};
    log__string(LOG__ERROR, "m");
    ASSERT_EQ(stat(log_directory, &directory), 0);
    ASSERT_EQ(stat(log_file, &file), 0);
    EXPECT_EQ(directory.st_uid, has_other_users ? 1234U : geteuid());
    EXPECT_EQ(file.st_uid, directory.st_uid);
    EXPECT_EQ(file.st_gid, directory.st_gid);
    EXPECT_EQ(file.st_mode & 07777, 0660U);
    EXPECT_EQ(chown(log_directory, geteuid(), getegid()), 0);
}

TEST_F(log_string, brings_the_mode_back_before_every_line)
{
    log__string(LOG__ERROR, "a");
    ASSERT_EQ(chmod(log_file, 0644), 0);
    log__string(LOG__ERROR, "b");
    struct stat file = {};
    ASSERT_EQ(stat(log_file, &file), 0);
    EXPECT_EQ(file.st_mode & 07777, 0660U);
}

TEST_F(log_string, takes_a_directory_of_a_time_after_january_2038)
{
    const timespec times[2] = {{4102444799, 0}, {4102444799, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, log_directory, times, 0), 0);
    EXPECT_EQ(console([] { log__string(LOG__ERROR, "m"); }), "");
    EXPECT_NE(written(), "");
    EXPECT_EQ(utimensat(AT_FDCWD, log_directory, nullptr, 0), 0); // 32-bit std::filesystem refuses such times
}

TEST_F(log_string, without_its_directory_writes_nothing_and_reports_stat_on_every_call)
{
    std::filesystem::remove_all(log_directory);
    g_log_to_console = 1;
    for (int call = 0; call < 2; ++call)
        EXPECT_EQ(console([] { log__string(LOG__ERROR, "m"); }), "stat: No such file or directory\n"
                                                                 "fopen: No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(log_directory));
}

TEST_F(log_string, reports_fopen_and_skips_the_echo_when_the_file_cannot_be_opened)
{
    std::filesystem::create_directory(log_file);
    g_log_to_console = 1;
    EXPECT_EQ(console([] { log__string(LOG__ERROR, "m"); }), "fopen: Is a directory\nfopen: Is a directory\n");
}

TEST_F(log_string, reports_chown_and_chmod_and_writes_the_line_all_the_same)
{
    system_calls.fchown_fails = true;
    EXPECT_EQ(console([] { log__string(LOG__ERROR, "a"); }), "chown: Operation not permitted\n");
    system_calls.fchmod_fails = true;
    EXPECT_EQ(console([] { log__string(LOG__ERROR, "b"); }),
              "chown: Operation not permitted\nchmod: Operation not permitted\n");
    EXPECT_EQ(written(), "[16/11/2026 03:17:39] [ERROR] [007.000000500 s]\ta\n"
                         "[16/11/2026 03:17:39] [ERROR] [000.000000000 s]\tb\n");
}

class create_file : public log_fixture {};

TEST_F(create_file, makes_an_empty_file_and_keeps_one_that_has_content)
{
    create_file_with_directory_permissions(log_directory, log_file);
    EXPECT_EQ(std::filesystem::file_size(log_file), 0U);
    std::ofstream(log_file) << "kept";
    create_file_with_directory_permissions(log_directory, log_file);
    EXPECT_EQ(written(), "kept");
}

class log_level : public log_fixture {};

TEST_F(log_level, is_unread_at_first) { EXPECT_EQ(log__get_log_level(), -1); }

TEST_F(log_level, is_read_by_the_first_log_string_and_never_again)
{
    configure(R"({"log_level":4})");
    log__string(LOG__TRACE, "m");
    EXPECT_EQ(log__get_log_level(), 4);
    configure(R"({"log_level":1})");
    log__string(LOG__DEBUG, "m");
    EXPECT_EQ(log__get_log_level(), 4);
    EXPECT_EQ(written(), "[16/11/2026 03:17:39] [DEBUG] [007.000000500 s]\tm\n");
}

TEST_F(log_level, stays_unread_with_a_negative_value_in_the_file_so_that_each_call_reads_again)
{
    configure(R"({"log_level":-2})");
    log__string(LOG__ERROR, "m");
    EXPECT_EQ(log__get_log_level(), -2);
    EXPECT_EQ(written(), "");
    configure(R"({"log_level":2})");
    log__string(LOG__WARN, "m");
    EXPECT_EQ(log__get_log_level(), 2);
    EXPECT_EQ(written(), "[16/11/2026 03:17:39] [WARN]  [007.000000500 s]\tm\n");
}

TEST_F(log_level, of_0_silences_all_logging)
{
    configure(R"({"log_level":0})");
    log__string(LOG__ERROR, "m");
    EXPECT_EQ(written(), "");
    EXPECT_EQ(log__get_log_level(), 0);
}

TEST_F(log_level, is_3_without_configuration_file_and_that_is_logged_once)
{
    log__string(LOG__INFO, "a");
    log__string(LOG__INFO, "b");
    EXPECT_EQ(log__get_log_level(), 3);
    EXPECT_EQ(
        written(),
        "[16/11/2026 03:17:39] [ERROR] [007.000000500 s]\t[get_config_file] Configuration file vorn_config.json can't be opened\n"
        "[16/11/2026 03:17:39] [INFO]  [000.000000000 s]\ta\n"
        "[16/11/2026 03:17:39] [INFO]  [000.000000000 s]\tb\n");
}

struct level_case {
    const char *name, *file;
    int32_t level;
};
class log_level_from_file : public log_fixture, public testing::WithParamInterface<level_case> {};

TEST_P(log_level_from_file, is_read_without_logging)
{
    configure(GetParam().file);
    EXPECT_EQ(log__get_log_level_from_file(), GetParam().level);
    EXPECT_EQ(log__get_log_level(), -1) << "only log__string stores it";
    log__string(LOG__TRACE, "m"); // reads the file itself
    EXPECT_EQ(log__get_log_level(), GetParam().level);
    EXPECT_EQ(written().find("json_data_extractor"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(table, log_level_from_file,
                         testing::ValuesIn(std::to_array<level_case>({
                             {"one", R"({"log_level":1})", 1},
                             {"five_enables_trace", R"({"log_level": 5})", 5},
                             {"six_yields_three", R"({"log_level":6})", 3},
                             {"nine_yields_three", R"({"log_level":9})", 3},
                             {"zero", R"({"log_level":0,"other":1})", 0},
                             {"negative", R"({"log_level":-1})", -1},
                             {"not_a_number", R"({"log_level":"high"})", 0},
                             {"no_such_key", R"({"other":1})", 3},
                             {"no_end_of_the_value", R"("log_level":5)", 3},
                             {"number_too_long", R"({"log_level":00000000000000000005})", 3},
                             {"empty", "", 3},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

class configuration : public log_fixture {
  protected:
    static std::string of_length(size_t length)
    {
        const std::string start = R"({"log_level":5)";
        return start + std::string(length - start.size() - 1, ' ') + "}";
    }
};

TEST_F(configuration, of_511_bytes_is_read)
{
    // The value ends at a comma, for a span of 20 characters and more is refused.
    const std::string start = R"({"log_level":5,"filler":")";
    const std::string text = start + std::string(511 - start.size() - 2, 'x') + "\"}";
    ASSERT_EQ(text.size(), 511U);
    configure(text);
    EXPECT_EQ(log__get_log_level_from_file(), 5);
    EXPECT_EQ(written(), "");
}

TEST_F(configuration, of_512_bytes_is_refused_with_a_message_and_level_3)
{
    configure(of_length(512));
    log__string(LOG__TRACE, "m");
    EXPECT_EQ(log__get_log_level(), 3);
    EXPECT_EQ(
        written(),
        "[16/11/2026 03:17:39] [ERROR] [007.000000500 s]\t[get_config_file] Buffer config_file too small to handle the 512 bytes of the vorn_config.json, buffer_size 4 < length 512\n");
}

TEST_F(configuration, that_is_a_directory_gives_level_3)
{
    std::filesystem::create_directory(configuration_file);
    EXPECT_EQ(log__get_log_level_from_file(), 3);
}

TEST_F(configuration, read_with_a_level_set_does_not_change_it)
{
    g_log_level = LOG__TRACE;
    EXPECT_EQ(log__get_log_level_from_file(), 3);
    EXPECT_EQ(log__get_log_level(), LOG__TRACE);
    configure("{}");
    EXPECT_EQ(log__get_log_level_from_file(), 3);
    EXPECT_EQ(log__get_log_level(), LOG__TRACE);
    EXPECT_EQ(
        written(),
        "[16/11/2026 03:17:39] [ERROR] [007.000000500 s]\t[get_config_file] Configuration file vorn_config.json can't be opened\n"
        "[16/11/2026 03:17:39] [DEBUG] [000.000000000 s]\tjson_data_extractor__get_int_value : key '\"log_level\"' not found\n");
}

TEST_F(log_level, set_by_the_host_turns_the_echo_on_and_restarts_the_elapsed_time)
{
    log__set_log_level(LOG__DEBUG);
    EXPECT_EQ(log__get_log_level(), LOG__DEBUG);
    EXPECT_EQ(g_log_to_console, 1);
    EXPECT_EQ(g_clock_data.seconds, 7);
    EXPECT_EQ(g_clock_data.nanoseconds, 500);
    configure(R"({"log_level":1})");
    EXPECT_EQ(console([] { log__string(LOG__DEBUG, "m"); }), "[16/11/2026 03:17:39] [DEBUG] [000.000000000 s]\tm\n");
}

TEST_F(log_level, set_without_a_clock_starts_the_elapsed_time_at_its_origin)
{
    g_clock_data = {1, 2};
    system_calls.monotonic_clock_fails = true;
    log__set_log_level(LOG__DEBUG);
    EXPECT_EQ(g_clock_data.seconds, 0);
    EXPECT_EQ(g_clock_data.nanoseconds, 0);
}

class log_data : public testing::Test {
  protected:
    // Bytes 00 01 02 .. in a block of exactly that size.
    static std::vector<uint8_t> counting(size_t length)
    {
        std::vector<uint8_t> result(length);
        for (size_t i = 0; i < length; ++i)
            result[i] = static_cast<uint8_t>(i);
        return result;
    }
};

TEST_F(log_data, writes_the_title_alone_without_data)
{
    log_capture log;
    log__data(LOG__INFO, "[caller] title", nullptr, 20);
    log__data(LOG__DEBUG, "[caller] empty", counting(1).data(), 0);
    EXPECT_EQ(log.up_to(LOG__TRACE), "3 [caller] title\n4 [caller] empty\n");
}

TEST_F(log_data, of_20_bytes_is_a_line_of_16_values_and_one_of_4_with_a_trailing_blank)
{
    log_capture log;
    log__data(LOG__TRACE, "title", counting(20).data(), 20);
    EXPECT_EQ(log.up_to(LOG__TRACE), "5 title\n"
                                     "5 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\n"
                                     "5 10 11 12 13 \n");
}

TEST_F(log_data, of_15_and_16_and_17_bytes_changes_the_line_at_16)
{
    log_capture log;
    for (const uint32_t length : {15U, 16U, 17U})
        log__data(LOG__INFO, "t", counting(length).data(), length);
    EXPECT_EQ(log.up_to(LOG__TRACE), "3 t\n3 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E \n"
                                     "3 t\n3 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\n"
                                     "3 t\n3 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\n3 10 \n");
}

TEST_F(log_data, dumps_the_first_8196_bytes_only)
{
    log_capture log;
    log__data(LOG__INFO, "t", counting(9000).data(), 9000);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1U + 512U + 1U);
    EXPECT_EQ(lines.back().text, "00 01 02 03 ");
}

TEST_F(log_data, takes_a_percent_sign_in_the_title_for_itself)
{
    log_capture log;
    log__data(LOG__INFO, "100%s", nullptr, 0);
    EXPECT_EQ(log.up_to(LOG__TRACE), "3 100%s\n");
}

TEST_F(log_data, above_the_current_level_writes_nothing)
{
    log_capture log(LOG__DEBUG);
    log__data(LOG__TRACE, "title", counting(3).data(), 3);
    EXPECT_EQ(log.up_to(LOG__TRACE), "");
}

class unread_log : public log_fixture {};

TEST_F(unread_log, dumps_nothing_and_leaves_the_level_unread)
{
    configure(R"({"log_level":5})");
    const uint8_t byte = 1;
    log__data(LOG__ERROR, "title", &byte, 1);
    EXPECT_EQ(written(), "");
    EXPECT_EQ(log__get_log_level(), -1);
}

class console_log : public log_fixture {
  protected:
    console_log() { g_log_level = LOG__INFO; }
    static void utf8(int32_t level, const char *title, const std::string &text)
    {
        log__utf8_data(level, title, reinterpret_cast<const uint8_t *>(text.data()),
                       static_cast<uint32_t>(text.size()));
    }
    static constexpr const char *prefix = "[16/11/2026 03:17:39] [INFO]  [000.000000000 s]\t";
};

TEST_F(console_log, prints_a_text_without_prefix_but_moves_the_elapsed_time_on)
{
    EXPECT_EQ(console([] { log__cstring(LOG__INFO, "text"); }), "text\n");
    EXPECT_EQ(g_clock_data.seconds, 7);
    EXPECT_EQ(written(), "");
}

TEST_F(console_log, prints_texts_around_the_length_of_a_piece_whole)
{
    for (const size_t length : {0U, 1U, 255U, 256U, 257U, 511U, 512U, 513U, 2000U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(console([&] { log__cstring(LOG__INFO, text.c_str()); }), text + "\n") << length;
    }
}

TEST_F(console_log, prints_bytes_after_prefix_and_title_without_the_console_flag)
{
    g_clock_data = {7, 500};
    EXPECT_EQ(console([] { utf8(LOG__INFO, "[caller] name: ", "caf\xC3\xA9"); }),
              std::string(prefix) + "[caller] name: caf\xC3\xA9\n");
    EXPECT_EQ(written(), "");
}

TEST_F(console_log, prints_long_titles_and_bytes_whole)
{
    g_clock_data = {7, 500};
    for (const size_t length : {207U, 208U, 209U, 256U, 257U, 600U}) {
        const std::string title(length, 't');
        const std::string text(length, 'x');
        std::string expected = prefix;
        expected.append(title).append(text).append("\n");
        EXPECT_EQ(console([&] { utf8(LOG__INFO, title.c_str(), text); }), expected) << length;
    }
}

TEST_F(console_log, prints_title_and_bytes_without_prefix_for_a_level_outside_1_to_5)
{
    EXPECT_EQ(console([] { utf8(0, "title: ", "text"); }), "title: text\n");
}

TEST_F(console_log, reads_no_byte_beyond_the_length)
{
    const auto text = bytes("41 42 43");
    g_clock_data = {7, 500};
    EXPECT_EQ(console([&] { log__utf8_data(LOG__INFO, "t ", text.data(), 3); }), std::string(prefix) + "t ABC\n");
}

TEST_F(console_log, without_bytes_ends_after_the_title)
{
    g_clock_data = {7, 500};
    EXPECT_EQ(console([] { log__utf8_data(LOG__INFO, "title", nullptr, 5); }), std::string(prefix) + "title\n");
}

TEST_F(console_log, prints_nothing_above_the_current_level_and_nothing_for_null)
{
    EXPECT_EQ(console([] {
                  log__cstring(LOG__DEBUG, "text");
                  utf8(LOG__DEBUG, "title", "text");
                  log__cstring(LOG__INFO, nullptr);
                  utf8(LOG__INFO, nullptr, "text");
              }),
              "");
    EXPECT_EQ(g_clock_data.seconds, 0);
}

TEST_F(console_log, prints_a_text_as_it_is)
{
    EXPECT_EQ(console([] { hw_printf("100%s\n"); }), "100%s\n");
}
} // namespace
