// What the program prints, byte by byte, beside tests/data/golden: in a pipe, and in a pseudo-terminal.
//
// LPA_WRITE_GOLDEN=1 build/release/tests/system/system_tests --gtest_filter='*golden*' writes the files anew; look at
// the difference before you keep it.
#include "system/system_test.h"
#include "system/terminal_program.h"
#include <sstream>

namespace {
constexpr const char *directory = LPA_GOLDEN_DIRECTORY;

std::string text_of(const std::string &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void expect_golden(const std::string &name, const std::string &text)
{
    const std::string file = std::string(directory) + "/" + name + ".txt";
    if (getenv("LPA_WRITE_GOLDEN")) std::ofstream(file, std::ios::binary) << text;
    EXPECT_EQ(text_of(file), text);
}

struct golden_case {
    const char *name;
    std::vector<const char *> commands; // shell words behind "lpa"
};
void PrintTo(const golden_case &row, std::ostream *out) { *out << row.name; }

// A card with three profiles, one with a name that is hard to show, and with two notifications.
class golden : public system_test {
  protected:
    golden()
    {
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
        desk.card_does({{"do", "add-profile"},
                        {"iccid", "8999900000000000017"},
                        {"enabled", true},
                        {"provider", "Desk Operator"},
                        {"name", "Travel"},
                        {"nickname", "office"}});
        desk.card_does({{"do", "add-profile"},
                        {"iccid", "8999900000000000025"},
                        {"provider", "東京 Mobile"},
                        {"name", "5\" \\ \x1B[31m"}});
        desk.card_does({{"do", "add-profile"}, {"iccid", "89999000000000000330"}, {"nickname", "office"}});
        for (const char *event : {"install", "enable"})
            desk.card_does({{"do", "add-notification"},
                            {"event", event},
                            {"address", "smdp.example"},
                            {"iccid", "8999900000000000017"}});
    }
};

class golden_pipe : public golden, public testing::WithParamInterface<golden_case> {};

TEST_P(golden_pipe, prints_what_stands_in_the_file)
{
    std::string text;
    for (const std::string command : GetParam().commands) {
        const std::string all = "'" LPA_PROGRAM "' " + command + " >/tmp/mobile/out 2>/tmp/mobile/error </dev/null";
        const int status = system(all.c_str());
        text += "$ lpa " + command + "\n" + text_of("/tmp/mobile/out") + text_of("/tmp/mobile/error");
        text += "[" + std::to_string(WEXITSTATUS(status)) + "]\n\n";
    }
    expect_golden(GetParam().name, text);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(files, golden_pipe, testing::ValuesIn(std::vector<golden_case>{
    {"help", {"--help", "status --help", "eid --help", "profiles --help", "notifications --help", "addresses --help",
        "memory --help", "download --help", "enable --help", "disable --help", "delete --help", "nickname --help",
        "set-smdp --help", "process-notifications --help", "reset-memory --help", "reset-settings --help",
        "watch --help"}},
    {"reading", {"status", "eid", "profiles", "notifications", "addresses", "memory"}},
    {"reading_json", {"status --json", "eid --json", "profiles --json", "notifications --json", "addresses --json",
        "memory --json"}},
    {"changing", {"nickname 0025 home", "enable home --no-reload", "disable home --no-reload", "delete home --yes --no-reload",
        "set-smdp smdp.example", "addresses", "profiles"}},
    {"changing_json", {"nickname 0025 home --json", "enable home --no-reload --json", "enable home --no-reload --json",
        "set-smdp smdp.example --json", "reset-memory --yes --no-reload --json", "status --json"}},
    {"failing", {"", "nonsense", "-m modem7 eid", "eid extra", "enable office", "enable nobody", "enable 0017 --no-reload",
        "delete 0025", "download", "download '1$a$b$$1'", "download nonsense", "download --qr /nowhere.png", "download -"}},
    {"failing_json", {"--json", "nonsense --json", "-m modem7 eid --json", "eid extra --json", "enable office --json",
        "enable 0017 --no-reload --json", "delete 0025 --json", "download --json", "download '1$a$b$$1' --json",
        "download nonsense --json", "download --qr /nowhere.png --json", "download - --json"}},
}), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

TEST_F(golden, terminal_shows_what_stands_in_the_file)
{
    std::string text;
    for (const char *command : {"status", "profiles", "notifications"}) {
        terminal_program lpa({LPA_PROGRAM, command});
        EXPECT_EQ(lpa.wait(), 0);
        text += lpa.screen();
    }
    expect_golden("terminal", text);
}
} // namespace
