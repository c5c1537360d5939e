#include "cli/profile_choice.h"
#include <algorithm>

namespace {

constexpr size_t shortest_tail = 4;

bool is_digits(const std::string &text)
{
    return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

// 89 for telecommunication (ITU-T E.118), 98 with the digits as the card has them.
bool is_iccid(const std::string &text)
{
    return text.size() >= 18 && text.size() <= 20 && is_digits(text) &&
           (text.starts_with("89") || text.starts_with("98"));
}

bool is_meant(const json &profile, const std::string &text)
{
    const bool is_tail = text.size() >= shortest_tail && is_digits(text);
    return (is_tail && profile.value("iccid", "").ends_with(text)) || profile.value("nickname", "") == text;
}

outcome not_found(const std::string &description, const json &candidates)
{
    outcome result = ended(EXIT__NOT_FOUND, description);
    (*result.document)["candidates"] = candidates;
    return result;
}

} // namespace

std::optional<outcome> choose_profile(const std::string &modem, std::string &profile)
{
    if (is_iccid(profile)) return {};
    if (profile.empty()) return ended(EXIT__USAGE, "which profile? Give an ICCID, its last digits or a nickname");
    const outcome list = call(LPA__get_profiles, modem);
    if (list.code != 0) return list;
    if (!list.document || !list.document->is_array())
        return ended(EXIT__NOT_FOUND, "the card's list of profiles cannot be read: give the ICCID");
    json meant = json::array();
    for (const json &candidate : *list.document)
        if (is_meant(candidate, profile)) meant.push_back(candidate);
    if (meant.empty())
        return not_found("no profile on the card has '" + profile +
                             "' as ICCID, its end (4 digits or more) or nickname",
                         *list.document);
    if (meant.size() > 1) return not_found("several profiles are meant by '" + profile + "'", meant);
    profile = meant[0].value("iccid", "");
    return {};
}
