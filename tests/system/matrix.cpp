#include "system/matrix.h"
#include "system/allocations.h"
#include <filesystem>
#include <lgsm.h>
#include <set>

namespace {
using testing::AnyOf;
using testing::Contains;
using testing::IsEmpty;

// Outside of the series that the server gives its orders.
constexpr const char *enabled_iccid = "8999800000000000017";
constexpr const char *disabled_iccid = "8999800000000000025";

template <auto Operation> outcome query(const std::string & /*activation_code*/) { return run(Operation, "modem0"); }

constexpr std::array documented_codes = {0U, 1U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U, 14U, 15U, 16U, 17U, 18U};

size_t open_descriptors()
{
    const std::filesystem::directory_iterator entries{"/proc/self/fd"};
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}
} // namespace

const std::vector<matrix_operation> matrix_operations = {
    {"get_eid", query<LPA__get_eid>},
    {"get_profiles", query<LPA__get_profiles>},
    {"get_addresses", query<LPA__get_addresses>},
    {"get_free_memory", query<LPA__get_free_memory>},
    {"get_notifications", query<LPA__get_notifications>},
    {"set_smdp_address", [](const std::string &) { return run(LPA__set_smdp_address, "modem0", "smdp.example"); }},
    {"set_profile_nickname",
     [](const std::string &) { return run(LPA__set_profile_nickname, "modem0", disabled_iccid, "Spare"); }},
    {.name = "enable_profile",
     .call = [](const std::string &) { return run(LPA__enable_profile, "modem0", disabled_iccid); },
     .state_of = disabled_iccid,
     .enabled = true},
    {.name = "disable_profile",
     .call = [](const std::string &) { return run(LPA__disable_profile, "modem0", enabled_iccid); },
     .state_of = enabled_iccid},
    {.name = "delete_profile",
     .call = [](const std::string &) { return run(LPA__delete_profile, "modem0", disabled_iccid); },
     .removed = {disabled_iccid}},
    {.name = "reset_memory", .call = query<LPA__reset_memory>, .removed = {enabled_iccid, disabled_iccid}},
    {.name = "reset_settings",
     .call =
         [](const std::string &) {
             return outcome{LPA__reset_settings("modem0"), {}};
         },
     .removed = {enabled_iccid, disabled_iccid}},
    {"process_notifications", query<LPA__process_notifications>},
    {.name = "start_rsp",
     .call = [](const std::string &code) { return run(LPA__start_rsp, "modem0", code.c_str(), nullptr); },
     .downloads = true},
};

std::vector<matrix_operation> matrix_operations_named(std::initializer_list<std::string_view> names)
{
    std::vector<matrix_operation> found;
    for (const std::string_view name : names)
        found.push_back(*std::ranges::find(matrix_operations, name, &matrix_operation::name));
    return found;
}

void PrintTo(const matrix_operation &operation, std::ostream *out) { *out << operation.name; }

std::string matrix_operation_name(const testing::TestParamInfo<matrix_operation> &info) { return info.param.name; }

void matrix::prepare()
{
    desk.modem_does({{"do", "clear-faults"}});
    desk.card_does({{"do", "cut-power-at-write"}, {"nth", 0}});
    desk.card_does({{"do", "wipe"}});
    desk.server_does({{"do", "clear-faults"}});
    desk.server_does({{"do", "clear-history"}});
    desk.command({{"bus", "clear"}});
    desk.card_does({{"do", "add-profile"}, {"iccid", enabled_iccid}, {"enabled", true}});
    desk.card_does({{"do", "add-profile"}, {"iccid", disabled_iccid}});
    for (const char *event : {"install", "enable"})
        desk.card_does(
            {{"do", "add-notification"}, {"event", event}, {"address", desk.server()}, {"iccid", enabled_iccid}});
    const json waiting = desk.add_order(order({{"size", 1024}}));
    activation_code = waiting.at("activation_code");
    new_iccid_ = waiting.at("iccid");
    pauses.clear();
    desk.forget_traffic();
    descriptors_ = open_descriptors();
    allocations_ = live_allocations();
}

std::vector<std::string> matrix::undisturbed_traffic()
{
    prepare();
    EXPECT_EQ(perform().code, 0U);
    return desk.traffic();
}

void matrix::expect_whole(const outcome &result)
{
    EXPECT_THAT(documented_codes, Contains(result.code));
    EXPECT_EQ(open_descriptors(), descriptors_);
    EXPECT_EQ(live_allocations(), allocations_);
    expect_card_whole();
}

void matrix::expect_card_whole()
{
    expect_profiles(desk.card(), false);

    // Once more the same; a download is ordered anew, because a failed one may have used its order up.
    if (operation.downloads) activation_code = desk.add_order(order({{"matching_id", "AGAIN"}})).at("activation_code");
    EXPECT_THAT(perform().code, AnyOf(0U, 16U)); // 16: it is done already
    EXPECT_EQ(run(LPA__get_profiles, "modem0").code, 0U);
    EXPECT_EQ(run(LPA__process_notifications, "modem0").code, 0U);

    const json card = desk.card();
    expect_profiles(card, true);
    EXPECT_THAT(card.at("open_channels"), IsEmpty());
    EXPECT_THAT(card.at("notifications"), IsEmpty());
    std::set<uint32_t> arrived;
    const json server = desk.sm_dp();
    for (const json &notification : server.at("notifications")) {
        EXPECT_EQ(notification.at("verified"), true);
        arrived.insert(notification.at("sequence_number").get<uint32_t>());
    }
    std::set<uint32_t> made;
    for (uint32_t number = 1; number < card.at("next_sequence_number"); ++number)
        made.insert(number);
    EXPECT_EQ(arrived, made);
}

void matrix::switch_on_again()
{
    if (desk.command({{"modem", 0}, {"do", "inspect"}}).at("function") == 1) return;
    EXPECT_EQ(run(LPA__get_eid, "modem0").code, 15U);
    char *answer = nullptr;
    EXPECT_EQ(lgsm_exec(nullptr, "AT+CFUN=1\r\n", &answer, 0, 60), 0);
    free(answer);
}

void matrix::expect_profiles(const json &card, bool done)
{
    std::map<std::string, int> count;
    for (const json &profile : card.at("profiles")) {
        const std::string iccid = profile.at("iccid");
        ++count[iccid];
        if (operation.state_of) {
            if (done && iccid == operation.state_of) { EXPECT_EQ(profile.at("enabled"), operation.enabled); }
        } else if (operation.removed.empty()) { // the others are disabled before they are deleted
            EXPECT_EQ(profile.at("enabled"), iccid == enabled_iccid) << iccid;
        }
    }
    for (const char *iccid : {enabled_iccid, disabled_iccid}) {
        const bool removed = testing::Matches(Contains(std::string(iccid)))(operation.removed);
        EXPECT_LE(count[iccid], 1) << iccid;
        if (done || !removed) { EXPECT_EQ(count[iccid], removed ? 0 : 1) << iccid; }
        count.erase(iccid);
    }
    EXPECT_LE(count[new_iccid_], operation.downloads ? 1 : 0);
    count.erase(new_iccid_);
    EXPECT_EQ(count.size(), done && operation.downloads ? 1U : 0U); // the one that was ordered anew
}
