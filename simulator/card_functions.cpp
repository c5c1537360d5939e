#include "simulator/card_functions.h"
#include <algorithm>

namespace sim {
namespace {
// Results that several responses share (SGP.22 v2.2).
constexpr uint8_t result_ok = 0;
constexpr uint8_t not_found = 1;
constexpr uint8_t wrong_state = 2;
constexpr uint8_t disallowed_by_policy = 3;
constexpr uint8_t undefined_error = 127;
constexpr uint8_t nothing_to_delete = 1;

byte_view view(const std::string &text) { return {reinterpret_cast<const uint8_t *>(text.data()), text.size()}; }
std::string text_of(byte_view value) { return {value.begin(), value.end()}; }

byte_vector result_response(uint16_t tag, uint8_t result)
{
    const byte_vector value{result};
    return tlv(tag, tlv(0x80, value));
}

// Tags of a tagList, which stand there without lengths.
std::vector<uint16_t> tags_of(byte_view list)
{
    std::vector<uint16_t> tags;
    for (size_t i = 0; i < list.size(); ++i) {
        uint16_t tag = list[i];
        if ((tag & 0x1F) == 0x1F && i + 1 < list.size()) tag = static_cast<uint16_t>(tag << 8 | list[++i]);
        tags.push_back(tag);
    }
    return tags;
}

byte_vector notification_configuration_info(const card_profile &profile)
{
    byte_vector entries;
    for (const auto &entry : profile.notifications) {
        const byte_vector one =
            tlv(0x30, join({tlv(0x80, bit_string(entry.events, event_count)), tlv(0x81, view(entry.address))}));
        entries.insert(entries.end(), one.begin(), one.end());
    }
    return entries;
}

byte_vector profile_info(const card_profile &profile, const std::vector<uint16_t> &tags)
{
    byte_vector fields;
    const auto add = [&](uint16_t tag, byte_view value) {
        const byte_vector field = tlv(tag, value);
        fields.insert(fields.end(), field.begin(), field.end());
    };
    const auto add_text = [&](uint16_t tag, const std::string &text) {
        if (!text.empty()) add(tag, view(text));
    };
    for (const uint16_t tag : tags) {
        switch (tag) {
        case 0x5A:
            add(tag, profile.iccid);
            break;
        case 0x4F:
            add(tag, profile.aid);
            break;
        case 0x9F70:
            add(tag, byte_vector{static_cast<uint8_t>(profile.enabled)});
            break;
        case 0x90:
            add_text(tag, profile.nickname);
            break;
        case 0x91:
            add_text(tag, profile.provider);
            break;
        case 0x92:
            add_text(tag, profile.name);
            break;
        case 0x95:
            add(tag, byte_vector{profile.profile_class});
            break;
        case 0xB6:
            if (!profile.notifications.empty()) add(tag, notification_configuration_info(profile));
            break;
        case 0xB7:
            if (!profile.owner.empty()) add(tag, profile.owner);
            break;
        case 0x99:
            add(tag, bit_string(profile.policy << 1, 3));
            break; // bit 0 is pprUpdateControl
        default:
            break;
        }
    }
    return tlv(0xE3, fields);
}
} // namespace

byte_vector bit_string(uint32_t bits, uint32_t count)
{
    uint32_t length = 0;
    for (uint32_t bit = 0; bit < count; ++bit)
        if (bits >> bit & 1) length = bit + 1;
    byte_vector content(1 + (length + 7) / 8);
    content[0] = static_cast<uint8_t>((8 - length % 8) % 8);
    for (uint32_t bit = 0; bit < length; ++bit)
        if (bits >> bit & 1) content[1 + bit / 8] = static_cast<uint8_t>(content[1 + bit / 8] | 0x80 >> bit % 8);
    return content;
}

uint32_t bits_of(byte_view content)
{
    uint32_t bits = 0;
    if (content.empty() || content[0] > 7) return 0;
    const size_t count = (content.size() - 1) * 8;
    for (size_t bit = 0; bit + content[0] < count && bit < 32; ++bit)
        if (content[1 + bit / 8] & 0x80 >> bit % 8) bits |= 1U << bit;
    return bits;
}

std::optional<uint8_t> card_functions::take_forced(uint16_t tag)
{
    for (forced &entry : forced_) {
        if (entry.tag != tag || entry.times == 0) continue;
        --entry.times;
        return entry.result;
    }
    return std::nullopt;
}

void card_functions::force_result(uint16_t tag, uint8_t result, uint32_t times)
{
    if (!result_function_of(tag)) throw std::invalid_argument("the function has no result of its own");
    forced_.push_back({tag, result, times});
}

const card_functions::result_function *card_functions::result_function_of(uint16_t tag)
{
    static constexpr result_function known[] = {
        {0xBF31, &card_functions::enable},
        {0xBF32, &card_functions::disable},
        {0xBF33, &card_functions::remove},
        {0xBF34, &card_functions::reset_memory},
        {0xBF29, &card_functions::set_nickname},
        {0xBF3F, &card_functions::set_default_address},
        {0xBF30, &card_functions::notification_sent},
    };
    const auto *found = std::ranges::find(known, tag, &result_function::tag);
    return found == std::end(known) ? nullptr : found;
}

std::optional<card_answer> card_functions::execute(const element &request)
{
    if (const result_function *function = result_function_of(request.tag)) {
        const auto ordered = take_forced(request.tag);
        if (ordered) return card_answer{result_response(request.tag, *ordered)};
        if (!read_elements(request.value)) return card_answer{{}, sw_incorrect_data};
        return card_answer{result_response(request.tag, (this->*function->run)(request.value))};
    }
    const card_state &state = store_.state();
    switch (request.tag) {
    case 0xBF3E: { // GetEuiccData: tagList 5C 01 5A
        const auto list = find_child(request.value, 0x5C);
        if (!list || list->value.size() != 1 || list->value[0] != 0x5A) return card_answer{{}, sw_incorrect_data};
        return card_answer{tlv(0xBF3E, tlv(0x5A, from_hex(state.eid)))};
    }
    case 0xBF20:
        return card_answer{euicc_info_1()};
    case 0xBF22:
        return card_answer{euicc_info_2()};
    case 0xBF43:
        return card_answer{tlv(0xBF43, tlv(0xA0))}; // no Rules Authorisation Table entries
    case 0xBF3C: {
        byte_vector addresses;
        if (!state.default_dp_address.empty()) addresses = tlv(0x80, view(state.default_dp_address));
        return card_answer{tlv(0xBF3C, join({addresses, tlv(0x81, view(state.root_ds_address))}))};
    }
    case 0xBF2D:
        return card_answer{profile_list(request.value)};
    case 0xBF28:
        return card_answer{list_notifications(request.value)};
    case 0xBF2B:
        return card_answer{retrieve_notifications(request.value)};
    default:
        return std::nullopt;
    }
}

byte_vector card_functions::euicc_info_1() const
{
    const byte_vector ci = tlv(0x04, who_.ci.cert.subject_key_id);
    return tlv(0xBF20, join({tlv(0x82, byte_vector{2, 2, 0}), tlv(0xA9, ci), tlv(0xAA, ci)}));
}

byte_vector card_functions::euicc_info_2() const
{
    const byte_vector ci = tlv(0x04, who_.ci.cert.subject_key_id);
    const card_state &state = store_.state();
    byte_vector free_memory(4);
    for (int i = 0; i < 4; ++i)
        free_memory[i] = static_cast<uint8_t>(state.free_memory() >> (24 - 8 * i));
    const byte_vector resources = join({tlv(0x81, integer_value(static_cast<uint32_t>(state.profiles.size()))),
                                        tlv(0x82, free_memory), tlv(0x83, integer_value(32768))});
    return tlv(0xBF22, join({tlv(0x81, byte_vector{2, 3, 1}), tlv(0x82, byte_vector{2, 2, 0}),
                             tlv(0x83, byte_vector{4, 5, 6}), tlv(0x84, resources),
                             tlv(0x85, byte_vector{0x04, 0x06, 0x7F, 0x36, 0xC0}), tlv(0x86, byte_vector{9, 2, 0}),
                             tlv(0x87, byte_vector{2, 3, 0}), tlv(0x88, byte_vector{0x02, 0x90}), tlv(0xA9, ci),
                             tlv(0xAA, ci), tlv(0x99, byte_vector{0x06, 0x40}), tlv(0x04, byte_vector{0, 0, 1}),
                             tlv(0x0C, view("SIM-ULATED-0001"))}));
}

card_profile *card_functions::identified(byte_view identifier)
{
    const auto aid = find_child(identifier, 0x4F);
    if (aid) return store_.state().find_by_aid(aid->value);
    const auto iccid = find_child(identifier, 0x5A);
    return iccid ? store_.state().find_by_iccid(iccid->value) : nullptr;
}

void card_functions::leave_enabled_state(card_profile &profile)
{
    profile.enabled = false;
    notify(profile, event_disable);
}

uint8_t card_functions::enable(byte_view request)
{
    const auto identifier = find_child(request, 0xA0);
    const auto refresh = find_child(request, 0x81);
    if (!identifier || !refresh || refresh->value.size() != 1) return undefined_error;
    card_profile *profile = identified(identifier->value);
    if (!profile) return not_found;
    if (profile->enabled) return wrong_state;
    const auto current = std::ranges::find_if(store_.state().profiles, &card_profile::enabled);
    if (current != store_.state().profiles.end()) {
        if (current->policy & ppr1_no_disable) return disallowed_by_policy;
        leave_enabled_state(*current);
    }
    profile->enabled = true;
    notify(*profile, event_enable);
    store_.commit();
    refresh_pending = refresh_pending || refresh->value[0] != 0;
    return result_ok;
}

uint8_t card_functions::disable(byte_view request)
{
    const auto identifier = find_child(request, 0xA0);
    const auto refresh = find_child(request, 0x81);
    if (!identifier || !refresh || refresh->value.size() != 1) return undefined_error;
    card_profile *profile = identified(identifier->value);
    if (!profile) return not_found;
    if (!profile->enabled) return wrong_state;
    if (profile->policy & ppr1_no_disable) return disallowed_by_policy;
    leave_enabled_state(*profile);
    store_.commit();
    refresh_pending = refresh_pending || refresh->value[0] != 0;
    return result_ok;
}

uint8_t card_functions::remove(byte_view request)
{
    card_profile *profile = identified(request);
    if (!profile) return not_found;
    if (profile->enabled) return wrong_state;
    if (profile->policy & ppr2_no_delete) return disallowed_by_policy;
    notify(*profile, event_delete);
    auto &profiles = store_.state().profiles;
    profiles.erase(profiles.begin() + (profile - profiles.data()));
    store_.commit();
    return result_ok;
}

uint8_t card_functions::reset_memory(byte_view request)
{
    const auto options = find_child(request, 0x82);
    if (!options) return undefined_error;
    const uint32_t bits = bits_of(options->value); // operational profiles, field-loaded test profiles, address
    card_state &state = store_.state();
    const auto goes = [&](const card_profile &profile) {
        return profile.profile_class == 2 ? bits & 1 : profile.profile_class == 0 && bits & 2;
    };
    const bool something = std::ranges::any_of(state.profiles, goes) || (bits & 4 && !state.default_dp_address.empty());
    if (!something) return nothing_to_delete;
    for (const card_profile &profile : state.profiles)
        if (goes(profile)) notify(profile, event_delete);
    std::erase_if(state.profiles, goes);
    if (bits & 4) state.default_dp_address.clear();
    store_.commit();
    return result_ok;
}

uint8_t card_functions::set_nickname(byte_view request)
{
    const auto iccid = find_child(request, 0x5A);
    const auto nickname = find_child(request, 0x90);
    if (!iccid || !nickname || nickname->value.size() > 64) return undefined_error;
    card_profile *profile = store_.state().find_by_iccid(iccid->value);
    if (!profile) return not_found;
    profile->nickname = text_of(nickname->value);
    store_.commit();
    return result_ok;
}

uint8_t card_functions::set_default_address(byte_view request)
{
    const auto address = find_child(request, 0x80);
    if (!address) return undefined_error;
    store_.state().default_dp_address = text_of(address->value);
    store_.commit();
    return result_ok;
}

uint8_t card_functions::notification_sent(byte_view request)
{
    const auto number = find_child(request, 0x80);
    if (!number) return undefined_error;
    const uint32_t wanted = to_uint(number->value);
    const size_t erased = std::erase_if(store_.state().notifications, [&](const card_notification &notification) {
        return notification.sequence_number == wanted;
    });
    if (erased == 0) return nothing_to_delete;
    store_.commit();
    return result_ok;
}

byte_vector card_functions::profile_list(byte_view request) const
{
    static const std::vector<uint16_t> default_tags = {0x5A, 0x4F, 0x9F70, 0x90, 0x91, 0x92, 0x93, 0x94, 0x95};
    constexpr uint8_t incorrect_input_values = 1;
    const auto fields = read_elements(request);
    if (!fields) return tlv(0xBF2D, tlv(0x81, byte_vector{incorrect_input_values}));
    const auto list = find_child(request, 0x5C);
    const auto criteria = find_child(request, 0xA0);
    byte_vector infos;
    for (const card_profile &profile : store_.state().profiles) {
        if (criteria) {
            const auto aid = find_child(criteria->value, 0x4F);
            const auto iccid = find_child(criteria->value, 0x5A);
            const auto profile_class = find_child(criteria->value, 0x95);
            if (aid && !std::ranges::equal(aid->value, profile.aid)) continue;
            if (iccid && !std::ranges::equal(iccid->value, profile.iccid)) continue;
            if (profile_class && to_uint(profile_class->value) != profile.profile_class) continue;
        }
        const byte_vector info = profile_info(profile, list ? tags_of(list->value) : default_tags);
        infos.insert(infos.end(), info.begin(), info.end());
    }
    return tlv(0xBF2D, tlv(0xA0, infos));
}

byte_vector card_functions::notification_metadata(uint32_t sequence_number, uint32_t event, const std::string &address,
                                                  byte_view iccid)
{
    const byte_vector iccid_field = iccid.empty() ? byte_vector{} : tlv(0x5A, iccid); // unknown before the metadata
    return tlv(0xBF2F, join({tlv(0x80, integer_value(sequence_number)), tlv(0x81, bit_string(1U << event, event_count)),
                             tlv(0x0C, view(address)), iccid_field}));
}

void card_functions::notify(const card_profile &profile, notification_event event, const std::string &except_address)
{
    card_state &state = store_.state();
    for (const auto &entry : profile.notifications) {
        if (!(entry.events >> event & 1) || entry.address == except_address) continue;
        const uint32_t number = state.next_sequence_number++;
        const byte_vector metadata = notification_metadata(number, event, entry.address, profile.iccid);
        const byte_vector pending = tlv(
            0x30, join({metadata, tlv(0x5F37, who_.euicc.key.sign(metadata)), who_.euicc.cert.der, who_.eum.cert.der}));
        state.notifications.push_back({number, event, entry.address, profile.iccid, pending});
    }
}

byte_vector card_functions::list_notifications(byte_view request) const
{
    const auto filter = find_child(request, 0x81);
    byte_vector entries;
    for (const auto &notification : store_.state().notifications) {
        if (filter && !(bits_of(filter->value) >> notification.event & 1)) continue;
        const byte_vector entry = notification_metadata(notification.sequence_number, notification.event,
                                                        notification.address, notification.iccid);
        entries.insert(entries.end(), entry.begin(), entry.end());
    }
    return tlv(0xBF28, tlv(0xA0, entries));
}

byte_vector card_functions::retrieve_notifications(byte_view request) const
{
    const auto criteria = find_child(request, 0xA0);
    const auto number = criteria ? find_child(criteria->value, 0x80) : std::nullopt;
    const auto events = criteria ? find_child(criteria->value, 0x81) : std::nullopt;
    byte_vector entries;
    for (const auto &notification : store_.state().notifications) {
        if (number && to_uint(number->value) != notification.sequence_number) continue;
        if (events && !(bits_of(events->value) >> notification.event & 1)) continue;
        entries.insert(entries.end(), notification.pending.begin(), notification.pending.end());
    }
    return tlv(0xBF2B, tlv(0xA0, entries));
}

} // namespace sim
