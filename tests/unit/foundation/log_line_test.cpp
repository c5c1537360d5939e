#include "foundation/log_line.h"
#include "unit/foundation/log_fixture.h"
#include <memory>

namespace {
class format_header : public log_fixture {
  protected:
    static constexpr uint32_t shortest = 48; // "[16/11/2026 03:17:39] [INFO]  [000.000000000 s]\t"
    static int32_t in(uint32_t size)
    {
        const auto exact = std::make_unique<char[]>(size);
        return log__format_header(exact.get(), size, LOG__INFO);
    }
};

TEST_F(format_header, is_not_terminated_and_fits_a_buffer_of_its_own_length)
{
    const auto exact = std::make_unique<char[]>(shortest);
    EXPECT_EQ(log__format_header(exact.get(), shortest, LOG__INFO), static_cast<int32_t>(shortest));
    EXPECT_EQ(std::string(exact.get(), shortest), "[16/11/2026 03:17:39] [INFO]  [007.000000500 s]\t");
}

TEST_F(format_header, gives_minus_one_in_every_smaller_buffer)
{
    for (uint32_t size = 1; size < shortest; ++size)
        EXPECT_EQ(in(size), -1) << size;
    EXPECT_EQ(g_clock_data.seconds, 0) << "the stamp moves on with a whole prefix only";
}

TEST_F(format_header, gives_minus_one_when_long_seconds_do_not_fit)
{
    system_calls.monotonic_clock = timespec{1000, 0};
    EXPECT_EQ(in(shortest), -1);
    EXPECT_EQ(in(shortest + 1), static_cast<int32_t>(shortest + 1));
}

TEST_F(format_header, gives_minus_one_for_a_level_without_tag)
{
    char buffer[LOG_PIECE_BYTES];
    for (const int32_t level : {-1, 0, 6})
        EXPECT_EQ(log__format_header(buffer, sizeof buffer, level), -1) << level;
}

class print_chunked : public log_fixture {
  protected:
    static std::string after_start(uint32_t start, const std::string &text, uint8_t add_newline)
    {
        char buffer[LOG_PIECE_BYTES];
        std::fill(buffer, buffer + sizeof buffer, 's');
        std::string printed = console(
            [&] { log__print_chunked(buffer, start, text.data(), static_cast<uint32_t>(text.size()), add_newline); });
        EXPECT_TRUE(std::all_of(buffer, buffer + sizeof buffer, [](char c) { return c == 0; })) << "not clear";
        return printed;
    }
};

TEST_F(print_chunked, prints_what_stands_before_start_then_the_text_in_one_run)
{
    for (const uint32_t start : {0U, 1U, 48U, 255U, 256U})
        for (const size_t length : {0U, 1U, 208U, 255U, 256U, 257U, 512U, 700U})
            for (const uint8_t add_newline : {0, 1}) {
                const std::string text(length, 'x');
                EXPECT_EQ(after_start(start, text, add_newline),
                          std::string(start, 's') + text + (add_newline ? "\n" : ""))
                    << start << " " << length;
            }
}

TEST_F(print_chunked, prints_in_pieces_of_256_characters)
{
    // A zero byte ends its piece early, which shows where the pieces end.
    std::string text(600, 'x');
    text[255] = '\0';
    text[256] = 'b';
    text[300] = '\0';
    EXPECT_EQ(after_start(0, text, 1),
              std::string(255, 'x') + "b" + std::string(43, 'x') + std::string(88, 'x') + "\n");
}
} // namespace
