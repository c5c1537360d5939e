// Cards and servers that send what no honest one would.
#include "support/bytes.h"
#include "system/system_test.h"
#include <filesystem>

namespace {
using testing::IsEmpty;

std::string text(const std::string &value) { return hex({value.begin(), value.end()}); }

// A BER-TLV element in hex.
std::string element(const std::string &tag, const std::string &value)
{
    const size_t length = value.size() / 2;
    char digits[24];
    const char *const form = length < 0x80      ? "%02zX"
                             : length < 0x100   ? "81%02zX"
                             : length < 0x10000 ? "82%04zX"
                                                : "83%06zX";
    snprintf(digits, sizeof digits, form, length);
    return tag + digits + value;
}

std::string notification(const std::string &number, const std::string &address)
{
    return element("BF2F", element("80", number) + element("81", "0780") + element("0C", text(address)));
}
std::string notification_list(const std::string &entries) { return element("BF28", element("A0", entries)); }
std::string memory_information(const std::string &number)
{
    return element("BF22", element("84", element("81", "01") + element("82", number) + element("83", "01")));
}

class hostile : public system_test {
  protected:
    // The operation once, with a card that gives this answer to the function.
    template <typename Operation>
    outcome with_answer(const char *function, const std::string &data, Operation operation)
    {
        desk.card_does({{"do", "answer"}, {"function", function}, {"data", data}});
        return run(operation, "modem0");
    }
    void TearDown() override // whatever came, the next run of an operation works
    {
        desk.server_does({{"do", "clear-faults"}});
        EXPECT_EQ(run(LPA__get_eid, "modem0").code, 0U);
        EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
    }
    static uintmax_t log_size()
    {
        std::error_code no_log;
        const uintmax_t size = std::filesystem::file_size("/tmp/mobile/lpa.log", no_log);
        return no_log ? 0 : size;
    }
};

// The sequence number is an INTEGER of 32 bits; the notification of a longer one is not understood.
TEST_F(hostile, sequence_numbers_beyond_32_bits_give_no_document)
{
    const std::pair<const char *, const char *> cases[] = {{"00", "0"},
                                                           {"7FFFFFFF", "2147483647"},
                                                           {"00FFFFFFFF", "4294967295"},
                                                           {"0100000000", nullptr},
                                                           {"FFFFFFFFFF", nullptr},
                                                           {"7FFFFFFFFFFFFFFFFF", nullptr}};
    for (const auto &[number, told] : cases) {
        SCOPED_TRACE(number);
        const outcome result =
            with_answer("BF28", notification_list(notification(number, "smdp.example")), LPA__get_notifications);
        const std::string before = R"([{"sequence_number":)", after = R"(,"event":0,"address":"smdp.example"}])";
        EXPECT_EQ(result.document, told ? before + told + after : "");
    }
    const std::string entry = notification("0100000000", "smdp.example");
    EXPECT_EQ(with_answer("BF28", notification_list(entry), LPA__process_notifications).code, 1U);
}

TEST_F(hostile, memory_numbers_of_any_length_are_read_from_their_own_element)
{
    EXPECT_EQ(with_answer("BF22", memory_information("00FFFFFFFF"), LPA__get_free_memory).document,
              R"({"free_memory":16777215})");
    EXPECT_EQ(with_answer("BF22", memory_information(std::string(400, 'F')), LPA__get_free_memory).document,
              R"({"free_memory":4294967295})");
    const outcome none = with_answer("BF22", memory_information(""), LPA__get_free_memory);
    EXPECT_EQ(none.code, 1U);
    EXPECT_EQ(none.document, "");
}

TEST_F(hostile, notification_addresses_with_control_characters_reach_no_server)
{
    for (const std::string &address :
         {std::string("a\r\nX-Header: b"), std::string("a b"), std::string("a\0b", 3), std::string("\x01\x7F\"\\")}) {
        const std::string list = notification_list(notification("01", address));
        EXPECT_EQ(with_answer("BF28", list, LPA__get_notifications).code, 0U);
        EXPECT_EQ(with_answer("BF28", list, LPA__process_notifications).code, 11U);
    }
    EXPECT_THAT(desk.sm_dp().at("requests"), IsEmpty());
}

TEST_F(hostile, notification_addresses_beyond_255_bytes_give_1)
{
    const std::string list = notification_list(notification("01", std::string(256, 'a')));
    EXPECT_EQ(with_answer("BF28", list, LPA__get_notifications).document, "");
    EXPECT_EQ(with_answer("BF28", list, LPA__process_notifications).code, 1U);
}

TEST_F(hostile, lists_of_thousands_are_read_whole)
{
    std::string pending, profiles;
    for (int i = 0; i < 10000; ++i) {
        char number[9];
        snprintf(number, sizeof number, "%08X", i);
        pending += notification(number, "smdp.example");
        if (i % 10 == 0) profiles += element("E3", element("5A", "9800" + std::string(8, '0') + number));
    }
    const outcome list = with_answer("BF28", notification_list(pending), LPA__get_notifications);
    EXPECT_EQ(list.parsed().size(), 10000U);
    EXPECT_EQ(list.parsed().at(9999).at("sequence_number"), 9999);
    const outcome cards = with_answer("BF2D", element("BF2D", element("A0", profiles)), LPA__get_profiles);
    EXPECT_EQ(cards.parsed().size(), 1000U);
}

// Texts come from operators and go into the document as they are; a host program takes care of quotes.
TEST_F(hostile, quotes_and_braces_in_a_profile_stay_within_the_document)
{
    const std::string name = R"(na"me{[\)";
    const std::string profile = element("E3", element("5A", "98101032547698103214") + element("92", text(name)));
    const outcome result = with_answer("BF2D", element("BF2D", element("A0", profile)), LPA__get_profiles);
    EXPECT_EQ(result.document, R"([{"iccid":"89010123456789012341","name":")" + name + R"(","bootstrap":0}])");
}

struct server_case {
    const char *name;
    const char *endpoint;
    const char *value;
    uint32_t code;
};
class hostile_transaction_id : public hostile, public testing::WithParamInterface<server_case> {};

TEST_P(hostile_transaction_id, ends_the_download)
{
    desk.server_does({{"do", "add-fault"},
                      {"endpoint", GetParam().endpoint},
                      {"kind", "set-member"},
                      {"member", "transactionId"},
                      {"value", GetParam().value}});
    const outcome result = install(desk.add_order(order()));
    EXPECT_EQ(result.code, GetParam().code);
    EXPECT_EQ(result.document, "");
    EXPECT_THAT(desk.card().at("profiles"), IsEmpty());
}

constexpr const char *bytes_17 = "0102030405060708090A0B0C0D0E0F1011";
INSTANTIATE_TEST_SUITE_P(table, hostile_transaction_id,
                         testing::ValuesIn(std::to_array<server_case>({
                             // The server does not know the session: the card is told another id than the server.
                             {"of_0_bytes_first", "initiateAuthentication", "", 13},
                             {"of_17_bytes_first", "initiateAuthentication", bytes_17, 13},
                             {"no_digits_first", "initiateAuthentication", "xyz", 1},
                             {"quotes_first", "initiateAuthentication", R"("}{)", 1},
                             {"of_0_bytes", "authenticateClient", "", 1},
                             {"of_17_bytes", "authenticateClient", bytes_17, 1},
                             {"no_digits", "authenticateClient", "xyz", 1},
                             {"quotes", "authenticateClient", R"("}{)", 1},
                         })),
                         [](const auto &info) { return info.param.name; });

// Quotes, braces and megabytes in the texts of a refusal: no more than one line of the log each.
TEST_F(hostile, texts_of_a_refusal_do_not_fill_the_log)
{
    for (const std::string &message : {std::string(R"("}]}{\"\\)"), std::string(1000000, 'm')}) {
        const log_capture information(3);
        const json ordered = desk.add_order(order());
        desk.server_does({{"do", "add-fault"},
                          {"endpoint", "initiateAuthentication"},
                          {"kind", "refuse"},
                          {"subject", R"(8.8"})"},
                          {"reason", R"({{\)"},
                          {"message", message}});
        EXPECT_EQ(install(ordered).code, 1U);
        EXPECT_LT(log_size(), 64U * 1024U);
    }
}

// Nothing at level 2; at the default level a line for each of the package's segments of a kilobyte.
TEST_F(hostile, size_of_a_profile_hardly_fills_the_log)
{
    constexpr uintmax_t size = 256 * 1024;
    for (const int32_t level : {2, 3}) {
        const log_capture captured(level);
        desk.card_does({{"do", "wipe"}});
        const json ordered = desk.add_order(order({{"size", size}}));
        EXPECT_EQ(install(ordered).code, 0U);
        EXPECT_LT(log_size(), level == 2 ? 1024 : size / 8);
    }
}

// At level 5 every dump stops at 8196 bytes, whatever the server sends.
TEST_F(hostile, megabytes_of_an_answer_do_not_fill_the_log_at_any_level)
{
    const log_capture everything(5);
    const json ordered = desk.add_order(order());
    desk.server_does({{"do", "add-fault"},
                      {"endpoint", "authenticateClient"},
                      {"kind", "body"},
                      {"body", R"({"a":")" + std::string(8000000, 'x') + "\"}"}});
    EXPECT_EQ(install(ordered).code, 1U);
    EXPECT_LT(log_size(), 1024U * 1024U);
}
} // namespace
