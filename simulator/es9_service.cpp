#include "simulator/es9_service.h"
#include <algorithm>
#include <stdexcept>

namespace sim {
namespace {
using nlohmann::json;
using nlohmann::ordered_json;

constexpr size_t challenge_bytes = 16;
constexpr size_t transaction_id_bytes = 16;
constexpr size_t host_id_bytes = 16;
constexpr size_t tac_bytes = 4;
constexpr size_t hash_bytes = 32;
constexpr uint8_t lowest_version = 2; // of SGP.22, as the eUICC's svn tells it

constexpr uint32_t reason_postponed = 1;
constexpr uint32_t reason_timeout = 2;
constexpr uint32_t result_no_memory = 10;    // installFailedDueToInsufficientMemoryForProfile
constexpr uint32_t result_interruption = 11; // installFailedDueToInterruption

constexpr const char *event_names[] = {"install", "enable", "disable", "delete"};
constexpr const char *progress_names[] = {"initiated", "authenticated", "bound", "cancelled", "refused"};

struct known_refusal {
    const char *subject_code;
    const char *reason_code;
    const char *message;
};
constexpr known_refusal wrong_address{"8.8.1", "3.8", "Invalid SM-DP+ Address."};
constexpr known_refusal no_common_ci{"8.8.2", "3.1",
                                     "None of the proposed Public Key Identifiers is supported by the SM-DP+."};
constexpr known_refusal old_version{"8.8.3", "3.1", "The SVN indicated by the eUICC is not supported."};
constexpr known_refusal bad_eum{"8.1.2", "6.1", "EUM Certificate is invalid."};
constexpr known_refusal expired_eum{"8.1.2", "6.3", "EUM Certificate has expired."};
constexpr known_refusal bad_euicc{"8.1.3", "6.1", "eUICC Certificate is invalid."};
constexpr known_refusal expired_euicc{"8.1.3", "6.3", "eUICC Certificate has expired."};
constexpr known_refusal unknown_ci{"8.11.1", "3.9",
                                   "Unknown CI Public Key. The CI used by the EUM Certificate is not a trusted root."};
constexpr known_refusal bad_signature{"8.1", "6.1", "eUICC signature is invalid or serverChallenge is invalid."};
constexpr known_refusal no_memory{"8.1", "4.8", "eUICC does not have sufficient space for this Profile."};
constexpr known_refusal euicc_reports_error{"8.1", "4.2", "The eUICC reports an error."};
constexpr known_refusal unknown_transaction{"8.10.1", "3.9",
                                            "The RSP session identified by the TransactionID is unknown."};
constexpr known_refusal not_released{"8.2", "1.2", "Profile has not yet been released."};
constexpr known_refusal matching_id_refused{"8.2.6", "3.8", "MatchingID (AC_Token or EventID) is refused."};
constexpr known_refusal other_eid{"8.1.1", "3.8", "EID doesn't match the expected value."};
constexpr known_refusal not_eligible{"8.2.5", "4.3", "No eligible Profile for this eUICC/Device."};
constexpr known_refusal order_expired{"8.8.5", "4.10", "The Download order has expired."};
constexpr known_refusal too_many_attempts{
    "8.8.5", "6.4", "The maximum number of retries for the Profile download order has been exceeded."};
constexpr known_refusal code_missing{"8.2.7", "2.2", "Confirmation Code is missing."};
constexpr known_refusal code_refused{"8.2.7", "3.8", "Confirmation Code is refused."};
constexpr known_refusal too_many_codes{"8.2.7", "6.4",
                                       "The maximum number of retries for the Confirmation Code has been exceeded."};
constexpr known_refusal other_oid{"8.8", "3.10", "The provided SM-DP+ OID is invalid."};

byte_vector copy(byte_view bytes) { return {bytes.begin(), bytes.end()}; }
bool same(byte_view a, byte_view b) { return std::ranges::equal(a, b); }
byte_view text_bytes(const std::string &text) { return {reinterpret_cast<const uint8_t *>(text.data()), text.size()}; }
std::string text_of(byte_view bytes) { return {bytes.begin(), bytes.end()}; }

void require(bool condition, const std::string &otherwise)
{
    if (!condition) throw bad_request{otherwise};
}

[[noreturn]] void refuse(const known_refusal &why) { throw refusal{why.subject_code, why.reason_code, why.message}; }

void unless(bool condition, const known_refusal &otherwise)
{
    if (!condition) refuse(otherwise);
}

std::string text_member(const json &request, const char *name)
{
    require(request.contains(name) && request.at(name).is_string(), std::string(name) + " is no string");
    return request.at(name);
}

byte_vector base64_member(const json &request, const char *name)
{
    const std::string text = text_member(request, name);
    try {
        return from_base64(text);
    } catch (const std::runtime_error &error) {
        throw bad_request{std::string(name) + ": " + error.what()};
    }
}

// The one element that data is.
element whole_element(byte_view data, uint16_t tag, const char *name)
{
    const auto found = read_element(data);
    require(found && found->tag == tag && found->whole.size() == data.size(), std::string(name) + " is malformed");
    return *found;
}

// The children of a SEQUENCE, which have to have these tags in this order; zero stands for one that may be missing
// behind the others.
std::vector<element> children(byte_view value, std::initializer_list<uint16_t> tags, const char *name)
{
    const auto found = read_elements(value);
    require(found && std::ranges::equal(*found, tags, {}, &element::tag), std::string(name) + " is malformed");
    return *found;
}

bool lists_key(byte_view info, uint16_t list_tag, byte_view key_id)
{
    const auto list = find_child(info, list_tag);
    const auto ids = list ? read_elements(list->value) : std::nullopt;
    return ids &&
           std::ranges::any_of(*ids, [&](const element &id) { return id.tag == 0x04 && same(id.value, key_id); });
}

ordered_json success_document()
{
    return {{"header", {{"functionExecutionStatus", {{"status", "Executed-Success"}}}}}};
}

byte_vector flipped(byte_vector bytes)
{
    bytes.back() ^= 1U;
    return bytes;
}

byte_vector signature_element(const key_pair &key, byte_view data, const fired_faults &faults)
{
    const byte_vector signature = key.sign(data);
    return tlv(0x5F37, faults.has("wrong-signature") ? flipped(signature) : signature);
}

byte_vector signed_transaction_id(byte_view transaction_id, const fired_faults &faults)
{
    return tlv(0x80, faults.has("wrong-transaction-id") ? flipped(copy(transaction_id)) : copy(transaction_id));
}

std::string event_name(byte_view bit_string)
{
    for (size_t bit = 0; bit < std::size(event_names); ++bit)
        if (bit_string.size() > 1 && bit_string[1] & 0x80U >> bit) return event_names[bit];
    return {};
}

// Digits in natural order, cut at the filling.
std::string iccid_digits(byte_view iccid)
{
    std::string text = to_hex(iccid);
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        std::swap(text[i], text[i + 1]);
    return text.substr(0, text.find('F'));
}
} // namespace

ordered_json refusal_document(const refusal &why)
{
    ordered_json status = {{"status", "Failed"}};
    if (!why.subject_code.empty()) {
        status["statusCodeData"] = {{"subjectCode", why.subject_code}, {"reasonCode", why.reason_code}};
        if (!why.message.empty()) status["statusCodeData"]["message"] = why.message;
    }
    return {{"header", {{"functionExecutionStatus", status}}}};
}

es9_service::es9_service(certificate_authority &authority) : authority_(authority) {}

es9_answer es9_service::answer(const std::string &endpoint, const json &request, const fired_faults &faults)
{
    if (endpoint == "initiateAuthentication") return initiate_authentication(request, faults);
    if (endpoint == "authenticateClient") return authenticate_client(request, faults);
    if (endpoint == "getBoundProfilePackage") return get_bound_profile_package(request, faults);
    if (endpoint == "handleNotification") return handle_notification(request);
    if (endpoint == "cancelSession") return cancel_session(request);
    throw bad_request{"unknown function"};
}

std::string es9_service::id_text(byte_view transaction_id) const
{
    std::string text = to_hex(transaction_id);
    if (lower_case_ids_) std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

es9_service::session &es9_service::find_session(const json &request, std::initializer_list<progress> expected)
{
    const std::string text = text_member(request, "transactionId");
    byte_vector id;
    try {
        id = from_hex(text);
    } catch (const std::runtime_error &error) {
        throw bad_request{std::string("transactionId: ") + error.what()};
    }
    const auto found = std::ranges::find_if(sessions_, [&](const session &one) { return one.transaction_id == id; });
    unless(found != sessions_.end() && std::ranges::count(expected, found->now) > 0, unknown_transaction);
    return *found;
}

// A refusal ends the session.
template <typename Step> auto es9_service::in_session(session &current, Step step)
{
    try {
        return step();
    } catch (const refusal &why) {
        current.now = progress::refused;
        current.refused = why;
        throw;
    }
}

// The identity that signs and the certificate that is shown, as a test has ordered it.
identity es9_service::server_identity(const identity &right, const fired_faults &faults) const
{
    const json *fault = faults.find("wrong-certificate");
    if (!fault) return right;
    const std::string which = fault->at("which");
    certificate_template contents{.common_name = "Desk Test wrong", .policy = right.cert.policies.front()};
    contents.subject_alt_name = std::string("RID:") + smdp_oid_text;
    if (which == "other-role") return authority_.dp_tls();
    if (which == "damaged") {
        identity damaged = right;
        damaged.cert.der = flipped(right.cert.der);
        return damaged;
    }
    if (which == "foreign-ci") {
        const identity foreign = issue_certificate({.common_name = "Foreign CI", .policy = policy_ci, .issues = true});
        return issue_certificate(contents, &foreign);
    }
    contents.not_after = "20210101000000Z";
    return issue_certificate(contents, &authority_.ci());
}

es9_answer es9_service::initiate_authentication(const json &request, const fired_faults &faults)
{
    const byte_vector challenge = base64_member(request, "euiccChallenge");
    require(challenge.size() == challenge_bytes, "euiccChallenge has not 16 bytes");
    const byte_vector info_bytes = base64_member(request, "euiccInfo1");
    const element info = whole_element(info_bytes, 0xBF20, "euiccInfo1");
    unless(text_member(request, "smdpAddress") == address_, wrong_address);
    const auto version = find_child(info.value, 0x82);
    require(version && version->value.size() == 3, "euiccInfo1 has no svn");
    unless(version->value[0] >= lowest_version, old_version);
    const byte_vector &ci_key = authority_.ci().cert.subject_key_id;
    unless(lists_key(info.value, 0xA9, ci_key) && lists_key(info.value, 0xAA, ci_key), no_common_ci);

    session opened;
    opened.transaction_id = random_bytes(transaction_id_bytes);
    opened.server_challenge = random_bytes(challenge_bytes);
    const identity auth = server_identity(authority_.dp_auth(), faults);
    const std::string address = faults.has("wrong-address") ? "elsewhere.example" : address_;
    const byte_vector signed1 =
        tlv(0x30, join({signed_transaction_id(opened.transaction_id, faults),
                        tlv(0x81, faults.has("wrong-challenge") ? flipped(challenge) : challenge),
                        tlv(0x83, text_bytes(address)), tlv(0x84, opened.server_challenge)}));
    ordered_json document = success_document();
    document["transactionId"] = id_text(opened.transaction_id);
    document["serverSigned1"] = to_base64(signed1);
    document["serverSignature1"] = to_base64(signature_element(auth.key, signed1, faults));
    document["euiccCiPKIdToBeUsed"] = to_base64(tlv(0x04, faults.has("unknown-ci") ? random_bytes(20) : ci_key));
    document["serverCertificate"] = to_base64(auth.cert.der);
    sessions_.push_back(std::move(opened));
    return {std::move(document), {}, {}};
}

es9_answer es9_service::authenticate_client(const json &request, const fired_faults &faults)
{
    const byte_vector response = base64_member(request, "authenticateServerResponse");
    session &current = find_session(request, {progress::initiated});
    return in_session(current, [&] {
        const client asking = check_client(current, response);
        order &wanted = eligible_order(asking);
        ++wanted.attempts;
        current.matching_id = wanted.matching_id;
        return client_answer(current, wanted, asking, faults);
    });
}

void es9_service::check_chain(byte_view euicc, byte_view eum) const
{
    const auto maker = read_certificate(eum);
    const auto card = read_certificate(euicc);
    unless(maker.has_value(), bad_eum);
    unless(card.has_value(), bad_euicc);
    const issue_check maker_check = check_issued_by(*maker, authority_.ci().cert);
    unless(maker_check != issue_check::other_issuer, unknown_ci);
    unless(maker_check != issue_check::not_valid_now, expired_eum);
    unless(maker_check == issue_check::good && carries_policy(*maker, policy_eum), bad_eum);
    const issue_check card_check = check_issued_by(*card, *maker);
    unless(card_check != issue_check::not_valid_now, expired_euicc);
    const bool has_eid = card->subject_serial_number.size() == 32;
    unless(card_check == issue_check::good && carries_policy(*card, policy_euicc) && has_eid, bad_euicc);
}

// AuthenticateServerResponse. Leaves the eUICC's certificate in the session.
es9_service::client es9_service::check_client(session &current, byte_view response)
{
    const element outer = whole_element(response, 0xBF38, "authenticateServerResponse");
    if (const auto error = find_child(outer.value, 0xA1)) {
        current.euicc_error = to_uint(children(error->value, {0x80, 0x02}, "authenticateResponseError")[1].value);
        refuse(euicc_reports_error);
    }
    const element ok = children(outer.value, {0xA0}, "authenticateServerResponse")[0];
    const auto parts = children(ok.value, {0x30, 0x5F37, 0x30, 0x30}, "authenticateResponseOk");
    const element &signed1 = parts[0];
    const auto fields = children(signed1.value, {0x80, 0x83, 0x84, 0xBF22, 0xA0}, "euiccSigned1");
    check_chain(parts[2].whole, parts[3].whole);
    certificate card = *read_certificate(parts[2].whole);
    unless(verify_signature(card.public_point, signed1.whole, parts[1].value), bad_signature);
    unless(same(fields[0].value, current.transaction_id), unknown_transaction);
    unless(same(fields[1].value, text_bytes(address_)), bad_signature);
    unless(same(fields[2].value, current.server_challenge), bad_signature);
    unless(lists_key(fields[3].value, 0xA9, authority_.ci().cert.subject_key_id), unknown_ci);

    const auto matching_id = find_child(fields[4].value, 0x80);
    const auto device = find_child(fields[4].value, 0xA1);
    const auto tac = device ? find_child(device->value, 0x80) : std::nullopt;
    require(tac && tac->value.size() == tac_bytes && find_child(device->value, 0xA1), "deviceInfo is malformed");
    const auto resources = find_child(fields[3].value, 0x84);
    const auto memory = resources ? find_child(resources->value, 0x82) : std::nullopt;
    require(memory.has_value(), "euiccInfo2 has no free memory");
    const std::string eid = card.subject_serial_number;
    known_euiccs_[eid] = card;
    current.euicc = std::move(card);
    return {eid, matching_id ? text_of(matching_id->value) : "", copy(parts[1].whole), to_uint(memory->value)};
}

// Without a matching id, the order that waits for this eUICC.
order &es9_service::find_order(const client &asking)
{
    const auto found = std::ranges::find_if(orders_, [&](const auto &entry) {
        return asking.matching_id.empty() ? entry.second.eid == asking.eid : entry.first == asking.matching_id;
    });
    unless(found != orders_.end(), matching_id_refused);
    return found->second;
}

order &es9_service::eligible_order(const client &asking)
{
    order &wanted = find_order(asking);
    unless(wanted.state != order_state::expired, order_expired);
    unless(wanted.state != order_state::unreleased, not_released);
    unless(wanted.state == order_state::released || wanted.state == order_state::downloaded, matching_id_refused);
    unless(wanted.eid.empty() || wanted.eid == asking.eid, other_eid);
    unless(wanted.state == order_state::released || wanted.downloaded_by == asking.eid, matching_id_refused);
    unless(wanted.max_attempts == 0 || wanted.attempts < wanted.max_attempts, too_many_attempts);
    unless(wanted.eligible, not_eligible);
    unless(wanted.profile_size <= asking.free_memory, no_memory);
    return wanted;
}

// An address that the order leaves open is this server's.
byte_vector es9_service::store_metadata(const order &wanted) const
{
    profile_metadata metadata = wanted.metadata;
    for (notification_target &target : metadata.notifications)
        if (target.address.empty()) target.address = address_;
    return encode_store_metadata(metadata);
}

es9_answer es9_service::client_answer(session &current, order &wanted, const client &asking, const fired_faults &faults)
{
    const json *forced = faults.find("code-flag");
    const bool flag = wanted.code_flag.value_or(!wanted.confirmation_code.empty());
    current.code_required = forced ? forced->at("value").get<bool>() : flag;
    const bool retried = wanted.offers_one_time_key && wanted.downloaded_by == asking.eid;
    const byte_vector flag_value{static_cast<uint8_t>(current.code_required ? 0xFF : 0x00)};
    const byte_vector signed2 =
        tlv(0x30, join({signed_transaction_id(current.transaction_id, faults), tlv(0x01, flag_value),
                        retried ? tlv(0x5F49, wanted.earlier_otpk) : byte_vector{}}));
    const identity binder = server_identity(authority_.dp_pb(), faults);
    current.smdp_signature2 = signature_element(binder.key, join({signed2, asking.signature}), faults);
    current.now = progress::authenticated;

    ordered_json document = success_document();
    document["transactionId"] = id_text(current.transaction_id);
    document["profileMetadata"] = to_base64(store_metadata(wanted));
    document["smdpSigned2"] = to_base64(signed2);
    document["smdpSignature2"] = to_base64(current.smdp_signature2);
    document["smdpCertificate"] = to_base64(binder.cert.der);
    return {std::move(document), {}, {}};
}

es9_answer es9_service::get_bound_profile_package(const json &request, const fired_faults &faults)
{
    const byte_vector response = base64_member(request, "prepareDownloadResponse");
    session &current = find_session(request, {progress::authenticated});
    return in_session(current, [&] { return package_answer(current, response, faults); });
}

void es9_service::check_confirmation_code(const session &current, order &wanted,
                                          const std::optional<element> &hash) const
{
    if (wanted.confirmation_code.empty()) return;
    unless(hash.has_value(), code_missing);
    const byte_vector right = sha256(join({sha256(text_bytes(wanted.confirmation_code)), current.transaction_id}));
    if (same(hash->value, right)) return;
    ++wanted.wrong_codes;
    if (wanted.wrong_codes < wanted.max_wrong_codes) refuse(code_refused);
    wanted.state = order_state::failed;
    refuse(too_many_codes);
}

es9_answer es9_service::package_answer(session &current, byte_view response, const fired_faults &faults)
{
    const element outer = whole_element(response, 0xBF21, "prepareDownloadResponse");
    if (const auto error = find_child(outer.value, 0xA1)) {
        current.euicc_error = to_uint(children(error->value, {0x80, 0x02}, "downloadResponseError")[1].value);
        refuse(euicc_reports_error);
    }
    const element ok = children(outer.value, {0xA0}, "prepareDownloadResponse")[0];
    const auto parts = children(ok.value, {0x30, 0x5F37}, "downloadResponseOk");
    const element &signed2 = parts[0];
    const auto hash = find_child(signed2.value, 0x04);
    const auto fields = hash ? children(signed2.value, {0x80, 0x5F49, 0x04}, "euiccSigned2")
                             : children(signed2.value, {0x80, 0x5F49}, "euiccSigned2");
    require(!hash || hash->value.size() == hash_bytes, "hashCc has not 32 bytes");
    const byte_vector tbs = join({signed2.whole, current.smdp_signature2});
    unless(verify_signature(current.euicc->public_point, tbs, parts[1].value), bad_signature);
    unless(same(fields[0].value, current.transaction_id), unknown_transaction);
    const auto found = orders_.find(current.matching_id);
    unless(found != orders_.end(), matching_id_refused);
    order &wanted = found->second;
    check_confirmation_code(current, wanted, hash);

    package_request binding{.transaction_id = current.transaction_id,
                            .eid = from_hex(current.euicc->subject_serial_number),
                            .euicc_otpk = copy(fields[1].value),
                            .smdp_otsk = key_pair::generate(),
                            .signer = authority_.dp_pb().key,
                            .host_id = random_bytes(host_id_bytes),
                            .metadata = store_metadata(wanted),
                            .iccid = wanted.metadata.iccid,
                            .profile_size = wanted.profile_size,
                            .profile_seed = wanted.profile_seed,
                            .replace_session_keys = wanted.replace_session_keys};
    if (const json *fault = faults.find("package")) {
        binding.defect = package_defect_named(fault->at("defect"));
        binding.defect_place = fault->value("place", size_t{1});
        binding.defect_tag = static_cast<uint16_t>(to_uint(from_hex(fault->value("tag", "00"))));
    }
    es9_answer result{success_document(), "boundProfilePackage", {}};
    try {
        result.large_text = to_base64(build_bound_package(binding));
    } catch (const std::runtime_error &) { // the one-time key is no point of the curve
        refuse(bad_signature);
    }
    wanted.state = order_state::downloaded;
    wanted.downloaded_by = current.euicc->subject_serial_number;
    wanted.earlier_otpk = binding.euicc_otpk;
    current.now = progress::bound;
    result.document["transactionId"] = id_text(current.transaction_id);
    return result;
}

// NotificationMetadata, which every notification has.
void es9_service::add_metadata(const element &metadata, json &record) const
{
    const auto number = find_child(metadata.value, 0x80);
    const auto event = find_child(metadata.value, 0x81);
    const auto address = find_child(metadata.value, 0x0C);
    require(number && event && address, "notificationMetadata is malformed");
    record["sequence_number"] = to_uint(number->value);
    record["event"] = event_name(event->value);
    record["address"] = text_of(address->value);
    if (const auto iccid = find_child(metadata.value, 0x5A)) record["iccid"] = iccid_digits(iccid->value);
    if (record["event"] == "") record["problems"].push_back("no event");
    if (record["address"] != address_) record["problems"].push_back("meant for another server");
}

es9_answer es9_service::handle_notification(const json &request)
{
    const byte_vector raw = base64_member(request, "pendingNotification");
    const auto pending = read_element(raw);
    require(pending && pending->whole.size() == raw.size(), "pendingNotification is not one element");
    require(pending->tag == 0xBF37 || pending->tag == 0x30, "pendingNotification is of an unknown kind");
    json record = {{"raw", to_hex(raw)}, {"verified", false}, {"problems", json::array()}};
    record["duplicate"] =
        std::ranges::any_of(notifications_, [&](const json &earlier) { return earlier.at("raw") == record.at("raw"); });
    if (pending->tag == 0xBF37) note_installation(*pending, record);
    else note_event(*pending, record);
    notifications_.push_back(std::move(record));
    return {};
}

// ProfileInstallationResult.
void es9_service::note_installation(const element &pending, json &record)
{
    const auto parts = children(pending.value, {0xBF27, 0x5F37}, "profileInstallationResult");
    const element &data = parts[0];
    const auto transaction = find_child(data.value, 0x80);
    const auto metadata = find_child(data.value, 0xBF2F);
    const auto oid = find_child(data.value, 0x06);
    const auto final_result = find_child(data.value, 0xA2);
    require(transaction && metadata && final_result, "profileInstallationResultData is malformed");
    record["kind"] = "installation-result";
    record["transaction_id"] = to_hex(transaction->value);
    add_metadata(*metadata, record);
    if (!oid || !same(oid->value, authority_.dp_pb().cert.registered_id))
        record["problems"].push_back("not the SM-DP+'s OID");

    if (const auto success = find_child(final_result->value, 0xA0)) {
        const auto aid = find_child(success->value, 0x4F);
        record["result"] = {{"success", true}, {"aid", aid ? to_hex(aid->value) : ""}};
    } else {
        const auto error = find_child(final_result->value, 0xA1);
        const auto command = error ? find_child(error->value, 0x80) : std::nullopt;
        const auto reason = error ? find_child(error->value, 0x81) : std::nullopt;
        require(command && reason, "finalResult is malformed");
        record["result"] = {
            {"success", false}, {"command", to_uint(command->value)}, {"reason", to_uint(reason->value)}};
    }

    for (const auto &[eid, card] : known_euiccs_)
        if (verify_signature(card.public_point, data.whole, parts[1].value)) record["eid"] = eid;
    record["verified"] = record.contains("eid");
    if (!record["verified"]) record["problems"].push_back("no known eUICC signed it");
    const auto current = std::ranges::find_if(
        sessions_, [&](const session &one) { return same(one.transaction_id, transaction->value); });
    if (current == sessions_.end()) record["problems"].push_back("unknown transaction");
    else if (record["verified"] && current->euicc && current->euicc->subject_serial_number == record["eid"])
        settle_order(*current, record["result"]);
}

void es9_service::settle_order(session &current, const json &result)
{
    const auto found = orders_.find(current.matching_id);
    if (found == orders_.end() || found->second.state != order_state::downloaded) return;
    const uint32_t reason = result.value("reason", 0U);
    const bool may_be_retried = reason == result_no_memory || reason == result_interruption;
    found->second.state = result.at("success") ? order_state::installed
                          : may_be_retried     ? order_state::released
                                               : order_state::failed;
}

// OtherSignedNotification: it brings its certificates along.
void es9_service::note_event(const element &pending, json &record)
{
    const auto parts = children(pending.value, {0xBF2F, 0x5F37, 0x30, 0x30}, "otherSignedNotification");
    record["kind"] = "event";
    add_metadata(parts[0], record);
    try {
        check_chain(parts[2].whole, parts[3].whole);
        const certificate card = *read_certificate(parts[2].whole);
        record["eid"] = card.subject_serial_number;
        unless(verify_signature(card.public_point, parts[0].whole, parts[1].value), bad_signature);
        record["verified"] = true;
    } catch (const refusal &why) {
        record["problems"].push_back(why.message);
    }
}

void es9_service::check_cancellation(const session &current, const element &cancelled, byte_view signature) const
{
    const auto fields = children(cancelled.value, {0x80, 0x06, 0x81}, "euiccCancelSessionSigned");
    unless(verify_signature(current.euicc->public_point, cancelled.whole, signature), bad_signature);
    unless(same(fields[0].value, current.transaction_id), unknown_transaction);
    unless(same(fields[1].value, authority_.dp_auth().cert.registered_id), other_oid);
}

es9_answer es9_service::cancel_session(const json &request)
{
    const byte_vector response = base64_member(request, "cancelSessionResponse");
    const element outer = whole_element(response, 0xBF41, "cancelSessionResponse");
    session &current = find_session(request, {progress::authenticated, progress::bound});
    if (const auto error = find_child(outer.value, 0x81)) {
        current.euicc_error = to_uint(error->value);
        refuse(euicc_reports_error);
    }
    const element ok = children(outer.value, {0xA0}, "cancelSessionResponse")[0];
    const auto parts = children(ok.value, {0x30, 0x5F37}, "cancelSessionResponseOk");
    check_cancellation(current, parts[0], parts[1].value);
    const uint32_t reason = to_uint(find_child(parts[0].value, 0x81)->value);
    cancelled_.push_back({{"transaction_id", to_hex(current.transaction_id)},
                          {"matching_id", current.matching_id},
                          {"eid", current.euicc->subject_serial_number},
                          {"reason", reason}});
    current.now = progress::cancelled;
    const auto wanted = orders_.find(current.matching_id);
    if (wanted != orders_.end() && reason != reason_postponed && reason != reason_timeout)
        wanted->second.state = order_state::failed;
    return {success_document(), {}, {}};
}

json es9_service::add_order(const json &command)
{
    const std::string matching_id = command.at("matching_id");
    order added;
    added.iccid_digits = std::to_string(next_iccid_);
    read_order(command, added);
    ++next_iccid_;
    orders_[matching_id] = added;
    return to_json(added, address_);
}

json es9_service::set_order(const json &command)
{
    const auto found = orders_.find(command.at("matching_id"));
    if (found == orders_.end()) throw std::invalid_argument("no such order");
    order changed = found->second;
    read_order(command, changed);
    found->second = changed;
    return to_json(changed, address_);
}

void es9_service::remove_order(const std::string &matching_id)
{
    if (orders_.erase(matching_id) == 0) throw std::invalid_argument("no order for \"" + matching_id + "\"");
}

void es9_service::clear_history()
{
    sessions_.clear();
    notifications_ = json::array();
    cancelled_ = json::array();
}

json es9_service::orders() const
{
    json result = json::array();
    for (const auto &[matching_id, one] : orders_)
        result.push_back(to_json(one, address_));
    return result;
}

json es9_service::sessions() const
{
    json result = json::array();
    for (const session &one : sessions_) {
        json entry = {{"transaction_id", to_hex(one.transaction_id)},
                      {"state", progress_names[static_cast<size_t>(one.now)]},
                      {"matching_id", one.matching_id},
                      {"code_required", one.code_required},
                      {"eid", one.euicc ? one.euicc->subject_serial_number : ""}};
        if (one.euicc_error) entry["euicc_error"] = *one.euicc_error;
        if (one.refused)
            entry["refused"] = {{"subject", one.refused->subject_code}, {"reason", one.refused->reason_code}};
        result.push_back(std::move(entry));
    }
    return result;
}

} // namespace sim
