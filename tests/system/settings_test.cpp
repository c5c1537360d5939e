// What the card tells about itself and what may be written on it: addresses, free memory, nicknames.
#include "system/system_test.h"

namespace {
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *iccid = "8999900000000000017";
constexpr const char *nothing = nullptr;

class settings : public system_test {
  protected:
    void add_profile(json details = json::object())
    {
        details.update({{"do", "add-profile"}, {"iccid", iccid}});
        desk.card_does(details);
    }
    std::string addresses() { return run(LPA__get_addresses, "modem0").document; }
    outcome set_address(const char *address) { return run(LPA__set_smdp_address, "modem0", address); }
    outcome set_nickname(const char *nickname, const char *whose = iccid)
    {
        return run(LPA__set_profile_nickname, "modem0", whose, nickname);
    }
    json nickname() { return desk.card().at("profiles").at(0).at("nickname"); }
    uint32_t free_memory() { return run(LPA__get_free_memory, "modem0").parsed().at("free_memory"); }
};

// ---- Addresses ----------------------------------------------------------------------------------------------------

TEST_F(settings, show_the_root_address_alone_without_a_default_address)
{
    EXPECT_EQ(addresses(), R"({"smds":"lpa.ds.gsma.com"})");
    EXPECT_THAT(log.at(3), HasSubstr(R"([LPA__get_addresses] JSON result: {"smds":"lpa.ds.gsma.com"})"));
    EXPECT_THAT(desk.events(), IsEmpty());
}

TEST_F(settings, show_the_default_address_after_the_root_address)
{
    desk.card_does({{"do", "set"}, {"default_dp_address", "smdp.example"}, {"root_ds_address", "smds.example"}});
    EXPECT_EQ(addresses(), R"({"smds":"smds.example","smdp":"smdp.example"})");
}

TEST_F(settings, keep_the_default_address_that_is_set)
{
    const outcome result = set_address("smdp.example");
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, R"({"result":0,"description":"Default SM-DP+ address changed"})");
    EXPECT_EQ(desk.card().at("default_dp_address"), "smdp.example");
    EXPECT_EQ(addresses(), R"({"smds":"lpa.ds.gsma.com","smdp":"smdp.example"})");
    EXPECT_THAT(desk.events(), IsEmpty());
    EXPECT_THAT(desk.traffic(), Not(Contains("AT+CFUN=0")));
}

TEST_F(settings, lose_the_default_address_when_it_is_empty_or_null)
{
    for (const char *address : {"", nothing}) {
        desk.card_does({{"do", "set"}, {"default_dp_address", "smdp.example"}});
        const outcome result = set_address(address);
        EXPECT_EQ(result.code, 0U);
        EXPECT_EQ(result.document, R"({"result":0,"description":"Default SM-DP+ address removed"})");
        EXPECT_EQ(desk.card().at("default_dp_address"), "");
        EXPECT_EQ(addresses(), R"({"smds":"lpa.ds.gsma.com"})");
    }
}

TEST_F(settings, take_a_default_address_longer_than_one_block)
{
    const std::string address = std::string(242, 'a') + ".example";
    EXPECT_EQ(set_address(address.c_str()).code, 0U);
    EXPECT_EQ(desk.card().at("default_dp_address"), address);
    EXPECT_EQ(addresses(), R"({"smds":"lpa.ds.gsma.com","smdp":")" + address + R"("})");
}

TEST_F(settings, give_16_when_the_card_refuses_the_default_address)
{
    desk.card_does({{"do", "result"}, {"function", "BF3F"}, {"result", 127}});
    const outcome result = set_address("smdp.example");
    EXPECT_EQ(result.code, 16U);
    EXPECT_EQ(result.document, R"({"result":127,"description":"Default SM-DP+ address not changed. Undefined error"})");
    EXPECT_EQ(desk.card().at("default_dp_address"), "");
}

// ---- Free memory and the profile list -----------------------------------------------------------------------------

TEST_F(settings, show_the_free_memory_that_a_download_takes)
{
    desk.card_does({{"do", "set"}, {"memory", 300000}});
    const outcome result = run(LPA__get_free_memory, "modem0");
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, R"({"free_memory":300000})");
    EXPECT_TRUE(log.contains(R"(GET FREE MEMORY JSON result: {"free_memory":300000})"));
    ASSERT_EQ(install(desk.add_order(order({{"size", 5000}}))).code, 0U);
    EXPECT_EQ(free_memory(), 295000U);
    const std::string installed = desk.card().at("profiles").at(0).at("iccid");
    ASSERT_EQ(run(LPA__delete_profile, "modem0", installed.c_str()).code, 0U);
    EXPECT_EQ(free_memory(), 300000U);
}

TEST_F(settings, ask_for_the_free_memory_once_only)
{
    for (const char *sw : {"6A80", "6985"}) {
        pauses.clear();
        desk.card_does({{"do", "answer"}, {"function", "BF22"}, {"sw", sw}});
        const uint32_t code = std::string(sw) == "6A80" ? 6 : 18;
        const outcome result = run(LPA__get_free_memory, "modem0");
        EXPECT_EQ(result.code, code);
        EXPECT_EQ(result.document, "");
        EXPECT_TRUE(log.contains("[LPA__get_free_memory] es10__get_free_memory, rc " + std::to_string(code)));
        EXPECT_THAT(pauses, IsEmpty());
    }
    EXPECT_THAT(desk.traffic(), Not(Contains("AT+CFUN=0")));
    EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
}

TEST_F(settings, show_every_profile_but_the_gsma_test_profile)
{
    EXPECT_EQ(run(LPA__get_profiles, "modem0").document, "[]");
    add_profile({{"enabled", true}});
    desk.card_does({{"do", "add-profile"}, {"iccid", "89000123456789012341"}});
    desk.card_does({{"do", "add-profile"},
                    {"iccid", "899990000000000002"},
                    {"nickname", "Spare"},
                    {"provider", "Operator"},
                    {"name", "Travel"}});
    EXPECT_EQ(run(LPA__get_profiles, "modem0").document,
              R"([{"iccid":"8999900000000000017","status":1,"bootstrap":0},)"
              R"({"iccid":"899990000000000002","status":0,"nickname":"Spare","provider":"Operator","name":"Travel",)"
              R"("bootstrap":0}])");
}

// ---- Nicknames ----------------------------------------------------------------------------------------------------

TEST_F(settings, keep_a_nickname_and_tell_the_bus)
{
    add_profile();
    const outcome result = set_nickname("Müller");
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, R"({"result":0,"description":"Nickname has been set"})");
    EXPECT_EQ(nickname(), "Müller");
    EXPECT_EQ(desk.events(),
              json::parse(R"([{"modem":"gsm.modem0","event":5,"state":0,"iccid":"8999900000000000017"}])"));
    EXPECT_THAT(desk.traffic(), Not(Contains("AT+CFUN=0")));
}

TEST_F(settings, lose_a_nickname_that_is_empty_or_null)
{
    add_profile({{"nickname", "Spare"}});
    for (const char *removed : {"", nothing}) {
        set_nickname("Spare");
        const outcome result = set_nickname(removed);
        EXPECT_EQ(result.code, 0U);
        EXPECT_EQ(result.document, R"({"result":0,"description":"Nickname removed"})");
        EXPECT_EQ(nickname(), "");
    }
}

TEST_F(settings, take_a_nickname_of_64_bytes)
{
    add_profile();
    const std::string longest(64, 'n');
    EXPECT_EQ(set_nickname(longest.c_str()).code, 0U);
    EXPECT_EQ(nickname(), longest);
}

TEST_F(settings, refuse_a_nickname_of_65_bytes_after_the_modem_was_opened_and_closed)
{
    add_profile({{"nickname", "Spare"}});
    const outcome result = set_nickname(std::string(65, 'n').c_str());
    EXPECT_EQ(result.code, 4U);
    EXPECT_EQ(result.document, "");
    EXPECT_TRUE(log.contains("[LPA__set_profile_nickname_unlocked] The new profile nickname is too long. Max length: "
                             "64, actual length: 65"));
    EXPECT_THAT(log.at(1), HasSubstr("FATAL [LPA__set_profile_nickname] failed, rc 4"));
    EXPECT_THAT(desk.traffic(),
                ElementsAre("AT+CMEE=?", "AT+CMEE=2", "0070000001", "81AA000005A903830107",
                            "01A4040010A0000005591010FFFFFFFF890000010000", "01C0000021", "0070800100"));
    EXPECT_EQ(nickname(), "Spare");
    EXPECT_EQ(desk.events(),
              json::parse(R"([{"modem":"gsm.modem0","event":5,"state":4,"iccid":"8999900000000000017"}])"));
}

TEST_F(settings, give_16_for_a_nickname_of_an_unknown_profile)
{
    const outcome unknown = set_nickname("Spare");
    EXPECT_EQ(unknown.code, 16U);
    EXPECT_EQ(unknown.document, R"({"result":1,"description":"Nickname not set. Profile ICCID not found"})");
    desk.card_does({{"do", "result"}, {"function", "BF29"}, {"result", 127}});
    const outcome undefined = set_nickname("Spare");
    EXPECT_EQ(undefined.code, 16U);
    EXPECT_EQ(undefined.document, R"({"result":127,"description":"Nickname not set. Undefined error"})");
    EXPECT_EQ(desk.events().back().at("state"), 16);
}
} // namespace
