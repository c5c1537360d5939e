// Activation codes from standard input and from pictures, and confirmation codes.
#include "cli/activation_code.h"
#include "unit/cli/scripted_library.h"
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {
using testing::ElementsAre;
using testing::HasSubstr;

class download_command : public testing::Test {
  protected:
    void SetUp() override
    {
        library = {};
        library.document = R"({"result":0,"description":"done"})";
    }
};

TEST_F(download_command, takes_the_code_from_standard_input)
{
    EXPECT_EQ(run({"download", "-"}, "\n  LPA:1$a$b \r\n1$c$d\n").status, 0);
    EXPECT_THAT(library.calls, ElementsAre("start_rsp modem0 LPA:1$a$b "));
}

TEST_F(download_command, tells_that_standard_input_holds_no_code)
{
    const run_outcome outcome = run({"download", "-"}, " \n\n");
    EXPECT_EQ(outcome.status, EXIT__NOT_FOUND);
    EXPECT_THAT(outcome.err, HasSubstr("no activation code on standard input"));
    EXPECT_TRUE(library.calls.empty());
}

struct flag_case {
    const char *code;
    bool needed;
};

TEST(confirmation_code, is_needed_when_the_flag_says_so)
{
    for (const flag_case &row : std::vector<flag_case>{{"LPA:1$a$b$$1", true},
                                                       {"1$a$b$1.3.6$1", true},
                                                       {"1$a$b$$", false},
                                                       {"1$a$b$$0", false},
                                                       {"1$a$b$$11", false},
                                                       {"1$a$b$1", false},
                                                       {"1$a$1", false},
                                                       {"1$a$b$$$1", false}})
        EXPECT_EQ(needs_confirmation_code(row.code), row.needed) << row.code;
}

TEST_F(download_command, asks_for_the_confirmation_code_on_a_terminal)
{
    const run_outcome outcome = run({"download", "1$a$b$$1"}, "2468\n", {.answers = true});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, testing::StartsWith("Confirmation code"));
    EXPECT_THAT(library.calls, ElementsAre("start_rsp modem0 1$a$b$$1 2468"));
}

TEST_F(download_command, does_not_ask_for_what_it_was_given_or_does_not_need)
{
    EXPECT_EQ(run({"download", "1$a$b$$1", "--confirmation-code", "1"}, "", {.answers = true}).err, "");
    EXPECT_EQ(run({"download", "1$a$b"}, "", {.answers = true}).err, "");
    EXPECT_THAT(library.calls, ElementsAre("start_rsp modem0 1$a$b$$1 1", "start_rsp modem0 1$a$b "));
}

TEST_F(download_command, does_nothing_without_an_answer)
{
    EXPECT_EQ(run({"download", "1$a$b$$1"}, "\n", {.answers = true}).status, EXIT__NOT_CONFIRMED);
    EXPECT_TRUE(library.calls.empty());
}

TEST_F(download_command, tells_how_to_give_the_confirmation_code_without_a_terminal)
{
    const run_outcome outcome = run({"download", "1$a$b$$1"});
    EXPECT_EQ(outcome.status, EXIT__USAGE);
    EXPECT_THAT(outcome.err, HasSubstr("--confirmation-code CODE"));
}

// A program of the test's own in zbarimg's place.
class picture : public download_command {
  protected:
    picture()
    {
        char name[] = "/tmp/lpa_picture_XXXXXX";
        directory = mkdtemp(name);
        file = directory + "/picture.png";
        std::ofstream(file) << "a picture";
        setenv("PATH", directory.c_str(), 1);
    }
    ~picture() override
    {
        setenv("PATH", usual_path.c_str(), 1);
        unlink((directory + "/zbarimg").c_str());
        unlink(file.c_str());
        rmdir(directory.c_str());
    }
    void zbarimg_does(const std::string &script)
    {
        const std::string path = directory + "/zbarimg";
        std::ofstream(path) << "#!/bin/sh\n" << script << '\n';
        chmod(path.c_str(), 0700);
    }
    run_outcome download() { return run({"download", "--qr", file.c_str()}); }

    std::string usual_path = getenv("PATH");
    std::string directory, file;
};

TEST_F(picture, gives_its_activation_code)
{
    zbarimg_does("echo https://a.example; echo 'LPA:1$a$b'; echo 'LPA:1$a$b'; for last; do :; done; echo \"$last\"");
    EXPECT_EQ(download().status, 0);
    EXPECT_THAT(library.calls, ElementsAre("start_rsp modem0 LPA:1$a$b "));
}

struct picture_case {
    const char *name, *script, *message;
};
class no_picture : public picture, public testing::WithParamInterface<picture_case> {};

TEST_P(no_picture, is_told_and_nothing_is_done)
{
    zbarimg_does(GetParam().script);
    const run_outcome outcome = download();
    EXPECT_EQ(outcome.status, EXIT__NOT_FOUND);
    EXPECT_THAT(outcome.err, HasSubstr(GetParam().message));
    EXPECT_TRUE(library.calls.empty());
}

INSTANTIATE_TEST_SUITE_P(table, no_picture,
                         testing::ValuesIn(std::vector<picture_case>{
                             {"without_a_code", "exit 4", "shows no QR code"},
                             {"that_is_none", "echo broken >&2; exit 1", "no picture that zbarimg can read"},
                             {"of_something_else", "echo https://a.example", "is no activation code"},
                             {"of_several_codes", "echo '1$a$b'; echo 'lpa:1$c$d'", "several activation codes"},
                             {"whose_reader_cannot_be_started", "exit 127", "install zbar-tools"},
                             {"whose_reader_is_killed", "kill -9 $$", "no picture that zbarimg can read"},
                         }),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(picture, needs_zbarimg) { EXPECT_THAT(download().err, HasSubstr("install zbar-tools")); }

TEST_F(picture, has_to_be_there)
{
    EXPECT_THAT(run({"download", "--qr", "/nowhere/picture.png"}).err,
                HasSubstr("cannot read /nowhere/picture.png: No such file or directory"));
}

} // namespace
