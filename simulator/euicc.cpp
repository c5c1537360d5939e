#include "simulator/euicc.h"
#include "simulator/card_download.h"
#include "simulator/control_command.h"
#include <algorithm>
#include <deque>
#include <mutex>

namespace sim {
namespace {
using nlohmann::json;

constexpr uint16_t sw_ok = 0x9000;
constexpr uint16_t sw_already_closed = 0x6200;
constexpr uint16_t sw_wrong_length = 0x6700;
constexpr uint16_t sw_no_such_channel = 0x6881;
constexpr uint16_t sw_conditions_not_satisfied = 0x6985; // REFRESH pending, or the ISD-R is not selected
constexpr uint16_t sw_no_channel_left = 0x6A81;
constexpr uint16_t sw_not_found = 0x6A82;
constexpr uint16_t sw_incorrect_p1_p2 = 0x6A86;
constexpr uint16_t sw_unknown_instruction = 0x6D00;

constexpr uint8_t isdr_aid[] = {0xA0, 0x00, 0x00, 0x05, 0x59, 0x10, 0x10, 0xFF,
                                0xFF, 0xFF, 0xFF, 0x89, 0x00, 0x00, 0x01, 0x00};
// Terminal capability template (ETSI TS 102 221) with the LPA indications of an eUICC-capable device.
constexpr uint8_t terminal_capabilities[] = {0xA9, 0x03, 0x83, 0x01, 0x07};
constexpr size_t channel_count = 20; // 0 is the basic channel (ISO 7816-4)

struct channel_state {
    bool open = false;
    bool isdr_selected = false;
    byte_vector series; // blocks of the STORE DATA series so far
    int next_block = 0;
    byte_vector pending; // response data waiting for GET RESPONSE
};

byte_vector with_sw(byte_view data, uint16_t sw)
{
    byte_vector answer(data.begin(), data.end());
    answer.push_back(static_cast<uint8_t>(sw >> 8));
    answer.push_back(static_cast<uint8_t>(sw));
    return answer;
}

size_t channel_of(uint8_t cla) { return cla & 0x40 ? 4 + (cla & 0x0F) : cla & 0x03; }

uint16_t tag_argument(const json &command)
{
    return static_cast<uint16_t>(std::stoul(command.at("function").get<std::string>(), nullptr, 16));
}
} // namespace

struct euicc::state {
    state(const std::filesystem::path &nv_file, const std::string &eid, certificate_authority &authority)
        : store(nv_file, eid), who{authority.euicc(store.state().eid), authority.eum(), authority.ci()},
          functions(store, who), download(store, functions, who)
    {
        channels[0].open = true;
    }

    struct ordered_answer { // what a test orders instead of the card's own answer
        uint16_t function;
        std::optional<byte_vector> data;
        uint16_t sw;
        uint32_t times;
    };

    byte_vector transmit(byte_view command);
    byte_vector manage_channel(uint8_t p1, uint8_t p2);
    byte_vector select(channel_state &channel, byte_view data);
    byte_vector store_data(channel_state &channel, uint8_t p1, uint8_t p2, byte_view data);
    byte_vector get_response(channel_state &channel, uint8_t length);
    byte_vector respond(channel_state &channel, const byte_vector &data);
    card_answer execute(byte_view request);
    std::optional<card_answer> take_ordered(uint16_t function);
    void reset();
    void set(const json &command);

    mutable std::mutex mutex;
    card_store store;
    card_identity who;
    card_functions functions;
    card_download download;
    std::array<channel_state, channel_count> channels;
    size_t piece = 256;            // bytes of one response
    bool get_response_only = true; // responses of outgoing commands always begin with 61xx, as with T=0
    std::vector<ordered_answer> ordered;
};

byte_vector euicc::state::transmit(byte_view command)
{
    if (command.size() < 5) return with_sw({}, sw_wrong_length);
    const uint8_t ins = command[1];
    const uint8_t p1 = command[2];
    const uint8_t p2 = command[3];
    const size_t number = channel_of(command[0]);
    if (number >= channels.size() || !channels[number].open) return with_sw({}, sw_no_such_channel);
    channel_state &channel = channels[number];
    if (ins == 0xC0) return get_response(channel, command[4]);
    channel.pending.clear();
    if (ins == 0x70) return manage_channel(p1, p2);

    // What is left carries data: Lc, data and, except for TERMINAL CAPABILITY, Le.
    const size_t length = command[4];
    if (command.size() != 5 + length && command.size() != 6 + length) return with_sw({}, sw_wrong_length);
    const byte_view data = command.subspan(5, length);
    switch (ins) {
    case 0xAA:
        return with_sw({}, std::ranges::equal(data, terminal_capabilities) ? sw_ok : sw_incorrect_data);
    case 0xA4:
        return p1 == 0x04 ? select(channel, data) : with_sw({}, sw_incorrect_p1_p2);
    case 0xE2:
        return store_data(channel, p1, p2, data);
    default:
        return with_sw({}, sw_unknown_instruction);
    }
}

byte_vector euicc::state::manage_channel(uint8_t p1, uint8_t p2)
{
    if (p1 == 0x80) {
        if (p2 == 0 || p2 >= channels.size()) return with_sw({}, sw_incorrect_p1_p2);
        const bool was_open = channels[p2].open;
        channels[p2] = {};
        return with_sw({}, was_open ? sw_ok : sw_already_closed);
    }
    if (p1 != 0 || p2 != 0) return with_sw({}, sw_incorrect_p1_p2);
    const auto free = std::ranges::find(channels, false, &channel_state::open);
    if (free == channels.end()) return with_sw({}, sw_no_channel_left);
    free->open = true;
    return with_sw(byte_vector{static_cast<uint8_t>(free - channels.begin())}, sw_ok);
}

byte_vector euicc::state::select(channel_state &channel, byte_view data)
{
    channel.isdr_selected = false;
    if (!std::ranges::equal(data, isdr_aid)) return with_sw({}, sw_not_found);
    channel.isdr_selected = true;
    channel.series.clear();
    channel.next_block = 0;
    // File control information with the AID and the supported SGP.22 version (E0 { 82 svn }).
    return respond(channel, tlv(0x6F, join({tlv(0x84, isdr_aid), tlv(0xA5, tlv(0x9F65, byte_vector{0xFF})),
                                            tlv(0xE0, tlv(0x82, byte_vector{2, 2, 0}))})));
}

byte_vector euicc::state::store_data(channel_state &channel, uint8_t p1, uint8_t p2, byte_view data)
{
    constexpr uint8_t more_blocks = 0x11;
    constexpr uint8_t last_block = 0x91;
    if (!channel.isdr_selected) return with_sw({}, sw_conditions_not_satisfied);
    if (functions.refresh_pending) return with_sw({}, sw_conditions_not_satisfied);
    if (p1 != more_blocks && p1 != last_block) return with_sw({}, sw_incorrect_p1_p2);
    if (p2 == 0 && channel.next_block % 256 != 0) { // a new series leaves an unfinished one behind
        channel.series.clear();
        channel.next_block = 0;
    }
    if (p2 != channel.next_block % 256) return with_sw({}, sw_incorrect_p1_p2);
    channel.series.insert(channel.series.end(), data.begin(), data.end());
    ++channel.next_block;
    if (p1 == more_blocks) return with_sw({}, sw_ok);

    channel.next_block = 0;
    const card_answer answer = execute(std::exchange(channel.series, {}));
    if (answer.sw != sw_ok) return with_sw({}, answer.sw);
    return respond(channel, answer.data);
}

byte_vector euicc::state::respond(channel_state &channel, const byte_vector &data)
{
    if (data.empty()) return with_sw({}, sw_ok);
    channel.pending = data;
    if (!get_response_only) return get_response(channel, 0);
    return with_sw({}, static_cast<uint16_t>(0x6100 | (std::min(data.size(), piece) & 0xFF)));
}

// Le 00 asks for 256 bytes.
byte_vector euicc::state::get_response(channel_state &channel, uint8_t length)
{
    if (channel.pending.empty()) return with_sw({}, sw_conditions_not_satisfied);
    const size_t wanted = std::min(length == 0 ? size_t{256} : size_t{length}, piece);
    const size_t size = std::min(wanted, channel.pending.size());
    const byte_vector data(channel.pending.begin(), channel.pending.begin() + static_cast<std::ptrdiff_t>(size));
    channel.pending.erase(channel.pending.begin(), channel.pending.begin() + static_cast<std::ptrdiff_t>(size));
    if (channel.pending.empty()) return with_sw(data, sw_ok);
    return with_sw(data, static_cast<uint16_t>(0x6100 | (std::min(channel.pending.size(), piece) & 0xFF)));
}

std::optional<card_answer> euicc::state::take_ordered(uint16_t function)
{
    for (ordered_answer &entry : ordered) {
        if (entry.function != function || entry.times == 0) continue;
        --entry.times;
        return card_answer{entry.data.value_or(byte_vector{}), entry.sw};
    }
    return std::nullopt;
}

card_answer euicc::state::execute(byte_view request)
{
    if (request.empty()) return {{}, sw_incorrect_data};
    const uint16_t first = request.size() > 1 && (request[0] & 0x1F) == 0x1F
                               ? static_cast<uint16_t>(request[0] << 8 | request[1])
                               : uint16_t{request[0]};
    if (const auto instead = take_ordered(first)) return *instead;
    if (const auto answer = download.load(request)) return *answer;
    const auto whole = read_element(request);
    if (!whole || whole->whole.size() != request.size()) return {{}, sw_incorrect_data};
    if (const auto answer = download.execute(*whole)) return *answer;
    if (const auto answer = functions.execute(*whole)) return *answer;
    return {{}, sw_unknown_request};
}

void euicc::state::reset()
{
    channels = {};
    channels[0].open = true;
    download.reset();
    functions.refresh_pending = false;
}

euicc::euicc(const std::filesystem::path &nv_file, const std::string &eid, certificate_authority &authority)
    : state_(std::make_unique<state>(nv_file, eid, authority))
{
}

euicc::~euicc() = default;

byte_vector euicc::transmit(byte_view command)
{
    const std::lock_guard lock(state_->mutex);
    try {
        return state_->transmit(command);
    } catch (const power_cut &) {
        state_->reset();
        state_->store.reload();
        return {};
    }
}

void euicc::reset()
{
    const std::lock_guard lock(state_->mutex);
    state_->reset();
}

namespace {
const char *const event_names[] = {"install", "enable", "disable", "delete"};

// ICCIDs are digits in reading order outside the card.
byte_vector swap_nibbles(byte_view iccid)
{
    byte_vector swapped;
    for (const uint8_t value : iccid)
        swapped.push_back(static_cast<uint8_t>(value << 4 | value >> 4));
    return swapped;
}

std::string iccid_text(byte_view iccid)
{
    std::string digits = to_hex(swap_nibbles(iccid));
    return digits.substr(0, digits.find('F'));
}

byte_vector iccid_argument(const json &command)
{
    std::string digits = command.at("iccid");
    if (digits.size() < 18 || digits.size() > 20) throw std::invalid_argument("an ICCID has 18 to 20 digits");
    digits.resize(20, 'F');
    return swap_nibbles(from_hex(digits));
}

uint32_t event_argument(const json &name)
{
    const auto found =
        std::ranges::find(event_names, name.get<std::string>(), [](const char *text) { return std::string(text); });
    if (found == std::end(event_names)) throw std::invalid_argument("unknown event");
    return static_cast<uint32_t>(found - std::begin(event_names));
}

json profile_json(const card_profile &profile)
{
    return {{"iccid", iccid_text(profile.iccid)},
            {"aid", to_hex(profile.aid)},
            {"enabled", profile.enabled},
            {"nickname", profile.nickname},
            {"provider", profile.provider},
            {"name", profile.name},
            {"class", profile.profile_class},
            {"policy", profile.policy},
            {"size", profile.size},
            {"package_sha256", profile.package_sha256}};
}

json notification_json(const card_notification &notification)
{
    return {{"sequence_number", notification.sequence_number},
            {"event", event_names[notification.event]},
            {"address", notification.address},
            {"iccid", iccid_text(notification.iccid)},
            {"pending", to_hex(notification.pending)}};
}

card_profile profile_argument(const json &command, uint32_t aid)
{
    card_profile profile;
    profile.iccid = iccid_argument(command);
    profile.aid = from_hex("A0000005591010FFFFFFFF8900000000");
    profile.aid[14] = static_cast<uint8_t>(aid);
    profile.enabled = command.value("enabled", false);
    profile.nickname = command.value("nickname", "");
    profile.provider = command.value("provider", "");
    profile.name = command.value("name", "");
    profile.profile_class = command.value("class", uint8_t{2});
    profile.policy = command.value("policy", 0U);
    profile.owner = from_hex(command.value("owner", ""));
    profile.size = command.value("size", 1024U);
    for (const json &entry : command.value("notifications", json::array())) {
        check_members(entry, "events address");
        uint32_t events = 0;
        for (const json &name : entry.at("events"))
            events |= 1U << event_argument(name);
        profile.notifications.push_back({events, entry.at("address")});
    }
    return profile;
}

byte_vector pending_argument(const json &command, const card_identity &who, byte_view metadata)
{
    if (command.contains("pending")) return from_hex(command.at("pending"));
    return tlv(0x30, join({metadata, tlv(0x5F37, who.euicc.key.sign(metadata)), who.euicc.cert.der, who.eum.cert.der}));
}
} // namespace

json euicc::inspect() const
{
    const std::lock_guard lock(state_->mutex);
    const card_state &card = state_->store.state();
    json profiles = json::array();
    for (const auto &profile : card.profiles)
        profiles.push_back(profile_json(profile));
    json notifications = json::array();
    for (const auto &notification : card.notifications)
        notifications.push_back(notification_json(notification));
    json channels = json::array();
    for (size_t i = 1; i < channel_count; ++i)
        if (state_->channels[i].open) channels.push_back(i);
    return {{"eid", card.eid},
            {"profiles", profiles},
            {"notifications", notifications},
            {"default_dp_address", card.default_dp_address},
            {"root_ds_address", card.root_ds_address},
            {"free_memory", card.free_memory()},
            {"next_sequence_number", card.next_sequence_number},
            {"open_channels", channels},
            {"refresh_pending", state_->functions.refresh_pending},
            {"writes_until_cut", state_->store.writes_until_cut()}};
}

// All is read before anything is changed.
void euicc::state::set(const json &command)
{
    card_state changed = store.state();
    changed.memory = command.value("memory", changed.memory);
    changed.next_sequence_number = command.value("next_sequence_number", changed.next_sequence_number);
    changed.default_dp_address = command.value("default_dp_address", changed.default_dp_address);
    changed.root_ds_address = command.value("root_ds_address", changed.root_ds_address);
    const auto bytes = command.value("piece", piece);
    const auto only_get_response = command.value("get_response_only", get_response_only);
    const auto pending = command.value("refresh_pending", functions.refresh_pending);
    const auto tag = command.value("sima_response_tag", download.sima_response_tag);
    store.state() = changed;
    store.commit();
    piece = bytes;
    get_response_only = only_get_response;
    functions.refresh_pending = pending;
    download.sima_response_tag = tag;
}

json euicc::control(const json &command)
{
    const control_command asked(command, "card");
    if (asked.is("inspect")) return inspect();
    const std::lock_guard lock(state_->mutex);
    state &card = *state_;
    card_state &kept = card.store.state();
    const uint32_t times = command.value("times", 1U);
    if (asked.is("add-profile", "iccid enabled nickname provider name class policy owner size notifications")) {
        const card_profile profile = profile_argument(command, kept.next_aid);
        if (kept.find_by_iccid(profile.iccid)) throw std::invalid_argument("the ICCID is on the card already");
        kept.profiles.push_back(profile);
        ++kept.next_aid;
        card.store.commit();
    } else if (asked.is("remove-profiles")) {
        kept.profiles.clear();
        card.store.commit();
    } else if (asked.is("wipe")) {
        const std::string eid = kept.eid;
        kept = {};
        kept.eid = eid;
        card.store.commit();
        card.reset();
    } else if (asked.is("add-notification", "event address iccid sequence_number pending")) {
        const uint32_t number = command.value("sequence_number", kept.next_sequence_number);
        const uint32_t event = event_argument(command.at("event"));
        const std::string address = command.at("address");
        const byte_vector iccid = command.contains("iccid") ? iccid_argument(command) : byte_vector{};
        const byte_vector metadata = card_functions::notification_metadata(number, event, address, iccid);
        kept.notifications.push_back({number, event, address, iccid, pending_argument(command, card.who, metadata)});
        kept.next_sequence_number = std::max(kept.next_sequence_number, number + 1);
        card.store.commit();
    } else if (asked.is("set", "memory next_sequence_number default_dp_address root_ds_address piece "
                               "get_response_only refresh_pending sima_response_tag")) {
        card.set(command);
    } else if (asked.is("open-channels", "count")) {
        for (uint32_t i = 0; i < command.at("count").get<uint32_t>(); ++i)
            card.manage_channel(0, 0);
    } else if (asked.is("result", "function result times")) {
        const uint16_t function = tag_argument(command);
        const uint8_t result = command.at("result");
        if (function == 0xBF38 || function == 0xBF21 || function == 0xBF41)
            card.download.force_error(function, result, times);
        else card.functions.force_result(function, result, times);
    } else if (asked.is("answer", "function data sw times")) {
        const uint16_t sw = static_cast<uint16_t>(std::stoul(command.value("sw", "9000"), nullptr, 16));
        card.ordered.push_back({tag_argument(command), from_hex(command.value("data", "")), sw, times});
    } else if (asked.is("fail-loading", "command reason times")) {
        card.download.fail_at(command.at("command"), command.at("reason"), times);
    } else if (asked.is("cut-power-at-write", "nth")) {
        card.store.cut_power_at_write(command.at("nth"));
    } else if (asked.is("reset")) {
        card.reset();
    } else {
        throw std::invalid_argument("the card does not know \"" + asked.name() + "\"");
    }
    return json::object();
}

} // namespace sim
