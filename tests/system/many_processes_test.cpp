// Many processes at once: on one modem they take turns, on several they do not know of each other.
#include "system/child.h"
#include "system/system_test.h"
#include <csignal>
#include <deque>
#include <set>
#include <thread>

namespace {
constexpr int processes = 8;
constexpr int rounds = 5;
constexpr int operations_of_a_round = 5;

std::string own_iccid(int owner) { return "899990000000000010" + std::to_string(owner); }
// All names are of one length, so that what is sent does not depend on what others wrote.
std::string nickname(int owner, int round) { return "Name " + std::to_string(owner) + "-" + std::to_string(round); }
std::string address(int owner) { return "smdp-" + std::to_string(owner) + ".example"; }

// Reads and changes the card: a profile of its own, and an address that others change as well.
void use(const std::string &modem, int owner, const std::string &eid)
{
    const char *name = modem.c_str();
    for (int round = 0; round < rounds; ++round) {
        EXPECT_EQ(run(LPA__set_profile_nickname, name, own_iccid(owner).c_str(), nickname(owner, round).c_str()).code,
                  0U);
        const json profiles = run(LPA__get_profiles, name).parsed();
        const auto own = std::ranges::find_if(
            profiles, [&](const json &profile) { return profile.at("iccid") == own_iccid(owner); });
        EXPECT_EQ(own->at("nickname"), nickname(owner, round));
        EXPECT_EQ(run(LPA__set_smdp_address, name, address(owner).c_str()).code, 0U);
        EXPECT_THAT(run(LPA__get_addresses, name).document, testing::ContainsRegex("smdp-[0-7].example"));
        if (round % 2 == 0) EXPECT_EQ(run(LPA__get_eid, name).parsed().at("eid"), eid);
        else EXPECT_EQ(run(LPA__get_notifications, name).document, "[]");
    }
}

class many_processes : public testing::Test {
  protected:
    explicit many_processes(int modems = 1) : desk(modems) {}

    void add_profile(int owner, int modem = 0)
    {
        desk.card_does({{"do", "add-profile"}, {"iccid", own_iccid(owner)}, {"nickname", nickname(owner, rounds)}},
                       modem);
        desk.card_does({{"do", "set"}, {"default_dp_address", address(owner)}}, modem);
    }
    std::string eid(int modem = 0) { return desk.card(modem).at("eid"); }

    // What was sent to the modem, from one choice of the error mode to the next.
    std::multiset<std::string> sessions()
    {
        std::multiset<std::string> found;
        std::string session;
        for (const std::string &command : desk.traffic()) {
            if (command == "AT+CMEE=?" && !session.empty()) found.insert(std::exchange(session, {}));
            session += command + " ";
        }
        found.insert(session);
        return found;
    }

    // Holds modem 0 for ever: its third command is not answered.
    void begin_and_get_stuck(child &holder)
    {
        desk.modem_does({{"do", "fault"}, {"kind", "silence"}, {"nth", 3}});
        holder.begin();
        while (!holder.has_ended() && desk.command({{"modem", 0}, {"do", "inspect"}}).at("faults_fired") == 0)
            std::this_thread::yield();
        EXPECT_FALSE(holder.has_ended());
    }

    router desk;
    log_capture log{1};
};

int get_eid() { return static_cast<int>(run(LPA__get_eid, "modem0").code); }

TEST_F(many_processes, take_turns_on_one_modem)
{
    for (int owner = 0; owner < processes; ++owner)
        add_profile(owner);
    const std::string expected = eid();
    for (int owner = 0; owner < processes; ++owner)
        use("modem0", owner, expected);
    const auto alone = sessions();
    EXPECT_EQ(alone.size(), size_t{processes * rounds * operations_of_a_round});

    desk.forget_traffic();
    std::deque<child> children;
    for (int owner = 0; owner < processes; ++owner)
        children.emplace_back([owner, expected] {
            use("modem0", owner, expected);
            return 0;
        });
    for (child &one : children)
        one.begin();
    for (child &one : children)
        EXPECT_EQ(one.wait(), 0);
    EXPECT_EQ(sessions(), alone);
    EXPECT_EQ(log.at(1), "");
    RecordProperty("runs", std::to_string(alone.size()));
}

bool waits_for_a_lock(pid_t process)
{
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) // "1: -> FLOCK  ADVISORY  WRITE 4711 00:2a:9 0 EOF"
        if (line.find("-> FLOCK") != std::string::npos &&
            line.find(" " + std::to_string(process) + " ") != std::string::npos)
            return true;
    return false;
}

TEST_F(many_processes, go_on_when_the_one_that_holds_the_lock_is_killed)
{
    child holder(get_eid);
    begin_and_get_stuck(holder);
    std::deque<child> waiting;
    for (int i = 0; i < processes; ++i) {
        waiting.emplace_back(get_eid).begin();
        while (!waiting.back().has_ended() && !waits_for_a_lock(waiting.back().process()))
            std::this_thread::yield();
        ASSERT_FALSE(waiting.back().has_ended());
    }
    desk.forget_traffic();
    kill(holder.process(), SIGKILL);
    EXPECT_EQ(holder.wait(), -SIGKILL);
    for (child &one : waiting)
        EXPECT_EQ(one.wait(), 0);
    EXPECT_EQ(sessions().size(), size_t{processes});
    EXPECT_THAT(desk.card().at("open_channels"), testing::IsEmpty());
}

class five_modems : public many_processes {
  protected:
    static constexpr int count = 5;
    five_modems() : many_processes(count) {}

    // A process on each modem from this one on.
    void expect_own_results(int first)
    {
        std::deque<child> children;
        for (int modem = first; modem < count; ++modem) {
            add_profile(modem, modem);
            children.emplace_back([modem, expected = eid(modem)] {
                use("modem" + std::to_string(modem), modem, expected);
                return 0;
            });
        }
        for (child &one : children)
            one.begin();
        for (child &one : children)
            EXPECT_EQ(one.wait(), 0);
        for (int modem = first; modem < count; ++modem) {
            const json card = desk.card(modem);
            EXPECT_EQ(card.at("profiles").size(), 1U);
            EXPECT_EQ(card.at("profiles").at(0).at("nickname"), nickname(modem, rounds - 1));
            EXPECT_EQ(card.at("default_dp_address"), address(modem));
            EXPECT_THAT(card.at("open_channels"), testing::IsEmpty());
        }
        EXPECT_EQ(log.at(1), "");
    }
};

TEST_F(five_modems, are_independent) { expect_own_results(0); }

TEST_F(five_modems, do_not_wait_for_one_that_is_silent)
{
    child holder(get_eid);
    begin_and_get_stuck(holder);
    expect_own_results(1);
    EXPECT_EQ(desk.traffic().size(), 3U);
}
} // namespace
