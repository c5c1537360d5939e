// What the host program shows of an operation while it runs, in a pseudo-terminal and in a pipe.
#include "system/system_test.h"
#include "system/terminal_program.h"
#include <regex>

namespace {
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char *iccid = "8999900000000000017";
const std::string installed = std::string("Profile installed: ICCID ") + iccid;

class cli_progress : public system_test {
  protected:
    cli_progress() { setenv("TERM", "xterm", 1); }
    ~cli_progress() override { unsetenv("NO_COLOR"); }

    std::string ordered_code()
    {
        return desk
            .add_order(
                order({{"iccid", iccid}, {"size", 65536}, {"provider", "Desk \x1B[31mOperator"}, {"name", "Travel"}}))
            .at("activation_code");
    }

    struct outputs {
        int status;
        std::string out, error;
    };
    static outputs in_a_pipe(const std::string &arguments)
    {
        const std::string command = "'" LPA_PROGRAM "' " + arguments + " 2>&1 >/tmp/mobile/out </dev/null";
        FILE *pipe = popen(command.c_str(), "r");
        outputs result;
        char piece[1000];
        for (size_t count; (count = fread(piece, 1, sizeof piece, pipe)) > 0;)
            result.error.append(piece, count);
        result.status = WEXITSTATUS(pclose(pipe));
        std::ifstream out("/tmp/mobile/out");
        result.out.assign(std::istreambuf_iterator<char>(out), {});
        return result;
    }
    static std::string quoted(const std::string &code) { return "'" + code + "'"; }
};

// The package is larger than the profile.
std::string without_sizes(const std::string &text)
{
    return std::regex_replace(text, std::regex("[0-9.]+ k?B of [0-9.]+ kB"), "N of N");
}

std::vector<std::string> pieces(const std::string &text, const std::string &separator)
{
    std::vector<std::string> result;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find(separator, begin), text.size());
        result.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    return result;
}

TEST_F(cli_progress, of_a_download_on_a_terminal_is_a_bar_that_gives_way_to_the_outcome)
{
    setenv("NO_COLOR", "1", 1);
    terminal_program lpa({LPA_PROGRAM, "download", ordered_code()});
    EXPECT_EQ(lpa.wait(), 0);
    const std::string &screen = lpa.screen();
    const std::string erased = "\r\x1B[K";
    EXPECT_THAT(screen, StartsWith(erased + "Opening the card" + erased + "Authenticating" + erased +
                                   "Profile: Desk \\x1B[31mOperator, Travel\r\n" + erased + "Preparing the download" +
                                   erased + "Fetching the profile" + erased + "Installing  [....."));
    EXPECT_THAT(screen, HasSubstr("##########]  100%  "));
    EXPECT_THAT(screen, EndsWith(erased + "Reporting the result" + erased + installed + "\r\n"));
    for (const std::string &line : pieces(screen, erased)) {
        EXPECT_EQ(line.find('\x1B'), std::string::npos) << line;
        EXPECT_LT(line.find("\r\n") == std::string::npos ? line.size() : 0, 80U) << line;
    }
}

TEST_F(cli_progress, of_a_download_in_a_pipe_is_plain_lines)
{
    const outputs ended = in_a_pipe("download " + quoted(ordered_code()));
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, installed + "\n");
    EXPECT_EQ(without_sizes(ended.error), "Opening the card\n"
                                          "Authenticating\n"
                                          "Profile: Desk \\x1B[31mOperator, Travel\n"
                                          "Preparing the download\n"
                                          "Fetching the profile\n"
                                          "Installing    0%  N of N\n"
                                          "Installing   10%  N of N\n"
                                          "Installing   20%  N of N\n"
                                          "Installing   30%  N of N\n"
                                          "Installing   40%  N of N\n"
                                          "Installing   50%  N of N\n"
                                          "Installing   60%  N of N\n"
                                          "Installing   70%  N of N\n"
                                          "Installing   80%  N of N\n"
                                          "Installing   90%  N of N\n"
                                          "Installing  100%  N of N\n"
                                          "Reporting the result\n"
                                          "Done\n");
}

TEST_F(cli_progress, is_not_shown_when_quiet_but_what_went_wrong_is)
{
    const outputs ended = in_a_pipe("--quiet download " + quoted(ordered_code()));
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, installed + "\n");
    EXPECT_THAT(ended.error, IsEmpty());
    const outputs failed = in_a_pipe("download -q '1$" + desk.server() + "$UNKNOWN'");
    EXPECT_EQ(failed.status, 13);
    EXPECT_THAT(failed.error, StartsWith("lpa: download: "));
    terminal_program lpa({LPA_PROGRAM, "-q", "process-notifications"});
    EXPECT_EQ(lpa.wait(), 0);
    EXPECT_EQ(lpa.screen(), "Notifications processed.\r\n");
}

TEST_F(cli_progress, stays_at_the_step_that_failed)
{
    terminal_program lpa({LPA_PROGRAM, "download", "1$" + desk.server() + "$UNKNOWN"});
    EXPECT_EQ(lpa.wait(), 13);
    EXPECT_THAT(lpa.screen(), HasSubstr("\r\x1B[KAuthenticating\r\nlpa: download: "));
}

TEST_F(cli_progress, leaves_a_document_alone)
{
    const outputs ended = in_a_pipe("--json download " + quoted(ordered_code()));
    EXPECT_EQ(json::parse(ended.out).at("iccid"), iccid);
    EXPECT_THAT(ended.error, HasSubstr("Done\n"));
}

TEST_F(cli_progress, of_notifications_counts_them)
{
    for (const char *event : {"install", "enable", "disable"})
        desk.card_does({{"do", "add-notification"}, {"event", event}, {"address", desk.server()}});
    EXPECT_EQ(in_a_pipe("process-notifications").error, "Delivering notifications  0 of 3\n"
                                                        "Delivering notifications  1 of 3\n"
                                                        "Delivering notifications  2 of 3\n"
                                                        "Delivering notifications  3 of 3\n");
}
} // namespace
