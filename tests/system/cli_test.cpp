#include "system/child.h"
#include "system/system_test.h"
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
using testing::HasSubstr;
using testing::IsEmpty;

struct ended {
    int status = -1;
    std::string out, error;
};

std::string text_of(const char *file)
{
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

class program : public system_test {
  protected:
    // Runs the real lpa with these shell words, its outputs caught in files.
    static ended lpa(const std::string &arguments)
    {
        const std::string command =
            "'" LPA_PROGRAM "' " + arguments + " >/tmp/mobile/out 2>/tmp/mobile/error </dev/null";
        const int status = system(command.c_str());
        return {WEXITSTATUS(status), text_of("/tmp/mobile/out"), text_of("/tmp/mobile/error")};
    }
    std::string quoted(const json &order) { return "'" + order.at("activation_code").get<std::string>() + "'"; }
};

TEST_F(program, tells_the_eid)
{
    const ended readable = lpa("eid");
    EXPECT_EQ(readable.status, 0);
    EXPECT_THAT(readable.out, HasSubstr("89049032123451234512345678900265"));
    EXPECT_THAT(readable.error, IsEmpty());
    EXPECT_EQ(lpa("eid --json").out, "{\"eid\":\"89049032123451234512345678900265\"}\n");
}

TEST_F(program, tells_that_a_signal_ended_it)
{
    for (const int number : {SIGINT, SIGTERM, SIGTSTP}) {
        child one([] {
            const int out = open("/tmp/mobile/out", O_CREAT | O_TRUNC | O_WRONLY, 0600);
            dup2(out, STDOUT_FILENO);
            return execl(LPA_PROGRAM, LPA_PROGRAM, "eid", "--json", nullptr);
        });
        desk.modem_does({{"do", "fault"}, {"kind", "kill"}, {"pid", one.process()}, {"signal", number}, {"nth", 7}});
        one.begin();
        EXPECT_EQ(one.wait(), 128 + number) << strsignal(number);
        EXPECT_EQ(desk.traffic().size(), 7U);
        EXPECT_EQ(json::parse(text_of("/tmp/mobile/out")).at("result"), 128 + number);
        EXPECT_EQ(lpa("eid").status, 0);
        desk.forget_traffic();
    }
}

TEST_F(program, downloads_and_lists)
{
    const json ordered = desk.add_order(order({{"confirmation_code", "2468"}, {"name", "Travel"}}));
    const ended downloaded = lpa("download " + quoted(ordered) + " --confirmation-code 2468 --json");
    EXPECT_EQ(downloaded.status, 0) << downloaded.error;
    EXPECT_EQ(json::parse(downloaded.out).at("iccid"), ordered.at("iccid"));
    const ended listed = lpa("-m modem0 profiles");
    EXPECT_EQ(listed.status, 0);
    EXPECT_THAT(listed.out, HasSubstr(ordered.at("iccid").get<std::string>()));
    EXPECT_THAT(listed.out, HasSubstr("Travel"));
    EXPECT_EQ(lpa("notifications --json").out, "[]\n");
    EXPECT_EQ(lpa("process-notifications").status, 0);
}

TEST_F(program, downloads_from_a_picture_and_from_standard_input)
{
    std::string pictured = quoted(desk.add_order(order({{"matching_id", "PICTURED"}})));
    ASSERT_EQ(system(("qrencode -o /tmp/mobile/code.png " + pictured.insert(1, "LPA:")).c_str()), 0);
    const ended downloaded = lpa("download --qr /tmp/mobile/code.png");
    EXPECT_EQ(downloaded.status, 0) << downloaded.error;
    const std::string typed = quoted(desk.add_order(order({{"matching_id", "TYPED"}})));
    EXPECT_EQ(system(("echo " + typed + " | '" LPA_PROGRAM "' download - >/tmp/mobile/out").c_str()), 0);
    EXPECT_EQ(desk.card().at("profiles").size(), 2U);
}

TEST_F(program, prints_valid_json_whatever_a_name_holds)
{
    const std::string name = "5\" \\ \n\x1B[31m";
    desk.card_does({{"do", "add-profile"}, {"iccid", "8999900000000000017"}, {"name", name}});
    EXPECT_EQ(json::parse(lpa("profiles --json").out).at(0).at("name"), name);
    EXPECT_EQ(json::parse(lpa("status --json").out).at("profiles").at(0).at("name"), name);
    EXPECT_EQ(json::parse(lpa("enable nobody --json").out).at("candidates").at(0).at("name"), name);
}

TEST_F(program, exits_with_the_result_code_and_says_why)
{
    const ended refused = lpa("download '1$" + desk.server() + "$UNKNOWN'");
    EXPECT_EQ(refused.status, 13);
    EXPECT_THAT(refused.error, HasSubstr("Profile installation failed due to authentication error"));
    EXPECT_THAT(refused.out, IsEmpty());

    desk.card_does({{"do", "fail-loading"}, {"command", 5}, {"reason", 10}});
    const ended full = lpa("download " + quoted(desk.add_order(order())));
    EXPECT_EQ(full.status, 16);
    EXPECT_THAT(full.error, HasSubstr("insufficient memory"));
}

TEST_F(program, manages_profiles)
{
    desk.card_does({{"do", "add-profile"}, {"iccid", "8999900000000000017"}, {"name", "One"}});
    const std::string quick = " --no-reload"; // a reload's pauses would be slept here
    EXPECT_EQ(lpa("enable 8999900000000000017" + quick).status, 0);
    EXPECT_TRUE(desk.card().at("profiles").at(0).at("enabled"));
    EXPECT_EQ(lpa("nickname 8999900000000000017 Spare").status, 0);
    EXPECT_EQ(desk.card().at("profiles").at(0).at("nickname"), "Spare");
    EXPECT_EQ(lpa("disable 8999900000000000017" + quick).status, 0);
    EXPECT_NE(lpa("delete 8999900000000000017" + quick).status, 0); // nobody says yes
    EXPECT_EQ(desk.card().at("profiles").size(), 1U);
    EXPECT_EQ(lpa("delete 8999900000000000017 --yes" + quick).status, 0);
    EXPECT_THAT(desk.card().at("profiles"), IsEmpty());
}
} // namespace
