#include "simulator/card_download.h"
#include <algorithm>

namespace sim {
namespace {
// authenticateErrorCode and downloadErrorCode (SGP.22 v2.2).
constexpr uint8_t invalid_certificate = 1;
constexpr uint8_t invalid_signature = 2;
constexpr uint8_t no_session_context = 4;
constexpr uint8_t invalid_transaction_id = 5;
constexpr uint8_t invalid_oid = 5;
constexpr uint8_t challenge_mismatch = 6;
constexpr uint8_t ci_key_unknown = 7;
constexpr uint8_t undefined_error = 127;

// bppCommandId and errorReason of a ProfileInstallationResult.
constexpr uint8_t command_secure_channel = 0;
constexpr uint8_t command_configure = 1;
constexpr uint8_t command_metadata = 2;
constexpr uint8_t command_replace_keys = 4;
constexpr uint8_t command_elements = 5;
constexpr uint8_t reason_incorrect_input = 1;
constexpr uint8_t reason_signature = 2;
constexpr uint8_t reason_transaction_id = 3;
constexpr uint8_t reason_crt_values = 4;
constexpr uint8_t reason_remote_operation = 5;
constexpr uint8_t reason_structure = 7;
constexpr uint8_t reason_security = 8;
constexpr uint8_t reason_iccid_exists = 9;
constexpr uint8_t reason_memory = 10;
constexpr uint8_t reason_pe_processing = 12;

constexpr uint8_t smdp_oid[] = {0x88, 0x37, 0x0A}; // 2.999.10, the simulated SM-DP+

// Key type AES (88), key length 16: the only control reference template values a card takes.
constexpr uint8_t key_type_aes = 0x88;
constexpr uint8_t key_length_16 = 0x10;

byte_vector copy(byte_view bytes) { return {bytes.begin(), bytes.end()}; }
void append(byte_vector &to, byte_view bytes) { to.insert(to.end(), bytes.begin(), bytes.end()); }
bool same(byte_view a, byte_view b) { return std::ranges::equal(a, b); }
bool has_policy(const certificate &cert, const char *policy) { return std::ranges::count(cert.policies, policy) > 0; }

struct header { // of an element whose value follows later
    uint16_t tag;
    size_t size; // of tag and length
    size_t length;
};

std::optional<header> read_header(byte_view data)
{
    if (data.size() < 2) return std::nullopt;
    header head{data[0], 1, 0};
    if ((head.tag & 0x1F) == 0x1F) head = {static_cast<uint16_t>(data[0] << 8 | data[1]), 2, 0};
    if (head.size >= data.size()) return std::nullopt;
    const uint8_t first = data[head.size++];
    if (first < 0x80) {
        head.length = first;
        return head;
    }
    for (int i = first & 0x7F; i > 0; --i) {
        if (head.size >= data.size()) return std::nullopt;
        head.length = head.length << 8 | data[head.size++];
    }
    return head;
}

byte_vector next_aid(card_state &state)
{
    byte_vector aid = from_hex("A0000005591010FFFFFFFF8900000000");
    const uint32_t number = 0x1000 + state.next_aid++;
    aid[13] = static_cast<uint8_t>(number >> 8);
    aid[14] = static_cast<uint8_t>(number);
    return aid;
}
} // namespace

void card_download::reset()
{
    session_.reset();
    prepared_.reset();
    loading_.reset();
}

void card_download::fail_at(uint8_t command, uint8_t reason, uint32_t times)
{
    ordered_ = failure{command, reason};
    ordered_times_ = times;
}

void card_download::force_error(uint16_t tag, uint8_t error, uint32_t times) { forced_.push_back({tag, error, times}); }

std::optional<uint8_t> card_download::take_forced(uint16_t tag)
{
    for (forced &entry : forced_) {
        if (entry.tag != tag || entry.times == 0) continue;
        --entry.times;
        return entry.error;
    }
    return std::nullopt;
}

std::optional<card_answer> card_download::execute(const element &request)
{
    switch (request.tag) {
    case 0xBF2E:
        return card_answer{get_challenge()};
    case 0xBF38:
        return authenticate_server(request.value);
    case 0xBF21:
        return prepare_download(request.value);
    case 0xBF41:
        return cancel_session(request.value);
    default:
        return std::nullopt;
    }
}

byte_vector card_download::get_challenge()
{
    reset(); // the card keeps one session, and this begins a new one
    session_ = authentication{};
    session_->challenge = random_bytes(16);
    return tlv(0xBF2E, tlv(0x80, session_->challenge));
}

std::optional<uint8_t> card_download::authentication_error(byte_view request)
{
    const auto fields = read_elements(request);
    if (!fields || fields->size() != 5) return undefined_error;
    const element &signed1 = (*fields)[0];
    const element &signature = (*fields)[1];
    const element &key_id = (*fields)[2];
    const element &certificate_tlv = (*fields)[3];
    const element &context = (*fields)[4];
    if (signed1.tag != 0x30 || signature.tag != 0x5F37 || key_id.tag != 0x04 || certificate_tlv.tag != 0x30 ||
        context.tag != 0xA0)
        return undefined_error;
    if (!find_child(context.value, 0x80) || !find_child(context.value, 0xA1)) return undefined_error;
    const auto transaction = find_child(signed1.value, 0x80);
    const auto challenge = find_child(signed1.value, 0x81);
    const auto address = find_child(signed1.value, 0x83);
    if (!transaction || !challenge || !address || !find_child(signed1.value, 0x84)) return undefined_error;
    if (!session_) return no_session_context;
    if (!same(key_id.value, who_.ci.cert.subject_key_id)) return ci_key_unknown;
    const auto certificate = read_certificate(certificate_tlv.whole);
    if (!certificate || !is_signed_by(*certificate, who_.ci.cert)) return invalid_certificate;
    if (!has_policy(*certificate, policy_dp_auth)) return invalid_oid;
    if (!verify_signature(certificate->public_point, signed1.whole, signature.value)) return invalid_signature;
    if (!same(challenge->value, session_->challenge)) return challenge_mismatch;
    session_->transaction_id = copy(transaction->value);
    session_->server_address = {address->value.begin(), address->value.end()};
    return std::nullopt;
}

card_answer card_download::authenticate_server(byte_view request)
{
    const auto ordered = take_forced(0xBF38);
    const auto error = ordered ? ordered : authentication_error(request);
    const auto fields = read_elements(request);
    if (error || !fields) {
        byte_vector transaction_id(1);
        if (fields && !fields->empty()) {
            const auto found = find_child(fields->front().value, 0x80);
            if (found) transaction_id = copy(found->value);
        }
        return {tlv(0xBF38, tlv(0xA1, join({tlv(0x80, transaction_id),
                                            tlv(0x02, byte_vector{error.value_or(undefined_error)})})))};
    }
    const auto server_challenge = find_child(fields->front().value, 0x84);
    const byte_view address(reinterpret_cast<const uint8_t *>(session_->server_address.data()),
                            session_->server_address.size());
    const byte_vector signed1 =
        tlv(0x30, join({tlv(0x80, session_->transaction_id), tlv(0x83, address), server_challenge->whole,
                        functions_.euicc_info_2(), fields->back().whole}));
    session_->euicc_signature = tlv(0x5F37, who_.euicc.key.sign(signed1));
    session_->server_known = true;
    return {tlv(0xBF38, tlv(0xA0, join({signed1, session_->euicc_signature, who_.euicc.cert.der, who_.eum.cert.der})))};
}

std::optional<uint8_t> card_download::preparation_error(byte_view request)
{
    const auto fields = read_elements(request);
    if (!fields || fields->size() < 3 || fields->size() > 4) return undefined_error;
    const element &signed2 = fields->front();
    const element &signature = (*fields)[1];
    const element &certificate_tlv = fields->back();
    const bool has_hash = fields->size() == 4;
    if (signed2.tag != 0x30 || signature.tag != 0x5F37 || certificate_tlv.tag != 0x30) return undefined_error;
    if (has_hash && ((*fields)[2].tag != 0x04 || (*fields)[2].value.size() != 32)) return undefined_error;
    if (!session_ || !session_->server_known) return no_session_context;
    const auto certificate = read_certificate(certificate_tlv.whole);
    if (!certificate || !is_signed_by(*certificate, who_.ci.cert) || !has_policy(*certificate, policy_dp_pb))
        return invalid_certificate;
    const byte_vector tbs = join({signed2.whole, session_->euicc_signature});
    if (!verify_signature(certificate->public_point, tbs, signature.value)) return invalid_signature;
    const auto transaction = find_child(signed2.value, 0x80);
    if (!transaction || !same(transaction->value, session_->transaction_id)) return invalid_transaction_id;
    const auto required = find_child(signed2.value, 0x01);
    if (!required || required->value.size() != 1) return undefined_error;
    if ((required->value[0] != 0) != has_hash) return undefined_error;
    prepared_ = preparation{key_pair::generate(), certificate->public_point};
    return std::nullopt;
}

card_answer card_download::prepare_download(byte_view request)
{
    const auto ordered = take_forced(0xBF21);
    const auto error = ordered ? ordered : preparation_error(request);
    if (error) {
        const byte_vector transaction_id = session_ ? session_->transaction_id : byte_vector(1);
        return {tlv(0xBF21, tlv(0xA1, join({tlv(0x80, transaction_id), tlv(0x02, byte_vector{*error})})))};
    }
    const auto fields = *read_elements(request);
    const byte_vector hash = fields.size() == 4 ? copy(fields[2].whole) : byte_vector{};
    const byte_vector signed2 = tlv(
        0x30, join({tlv(0x80, session_->transaction_id), tlv(0x5F49, prepared_->one_time_key.public_point()), hash}));
    const byte_vector signature = who_.euicc.key.sign(join({signed2, fields[1].whole}));
    return {tlv(0xBF21, tlv(0xA0, join({signed2, tlv(0x5F37, signature)})))};
}

card_answer card_download::cancel_session(byte_view request)
{
    constexpr uint8_t cancel_invalid_transaction_id = 5;
    const auto transaction = find_child(request, 0x80);
    const auto reason = find_child(request, 0x81);
    const auto ordered = take_forced(0xBF41);
    if (!transaction || !reason || reason->value.size() != 1) return {{}, sw_incorrect_data};
    if (ordered) return {tlv(0xBF41, tlv(0x81, byte_vector{*ordered}))};
    if (!session_ || !same(transaction->value, session_->transaction_id))
        return {tlv(0xBF41, tlv(0x81, byte_vector{cancel_invalid_transaction_id}))};
    const byte_vector cancelled = tlv(0x30, join({transaction->whole, tlv(0x06, smdp_oid), reason->whole}));
    const byte_vector signature = tlv(0x5F37, who_.euicc.key.sign(cancelled));
    reset();
    return {tlv(0xBF41, tlv(0xA0, join({cancelled, signature})))};
}

std::optional<card_answer> card_download::load(byte_view data)
{
    const auto head = read_header(data);
    if (!head) return std::nullopt;
    if (head->tag == 0xBF36) {
        loading_ = installation{};
        return step(open_secure_channel(data));
    }
    constexpr uint16_t pieces[] = {0xA0, 0xA1, 0x88, 0xA2, 0xA3, 0x86};
    if (!loading_ || std::ranges::count(pieces, head->tag) == 0) return std::nullopt;
    switch (loading_->now) {
    case phase::secure_channel:
        return step(failure{command_secure_channel, reason_structure});
    case phase::configure:
        return step(configure_isdp(data));
    case phase::metadata_head:
        if (head->tag != 0xA1 || head->size != data.size()) return step(failure{command_metadata, reason_structure});
        loading_->left = head->length;
        loading_->now = phase::metadata;
        return step(std::nullopt);
    case phase::metadata:
        return step(take_metadata(data));
    case phase::after_metadata:
        if (head->tag == 0xA2) return step(replace_session_keys(data));
        if (head->tag != 0xA3 || head->size != data.size()) return step(failure{command_elements, reason_structure});
        loading_->left = head->length;
        loading_->now = phase::elements;
        return step(std::nullopt);
    case phase::elements:
        return step(take_element(data));
    }
    return std::nullopt;
}

// No data until the last series, or until an error.
card_answer card_download::step(std::optional<failure> failed)
{
    if (failed) return installation_result(failed);
    const bool complete = loading_->now == phase::elements && loading_->left == 0;
    return complete ? installation_result(install()) : card_answer{};
}

std::optional<card_download::failure> card_download::ordered_failure(uint8_t command)
{
    if (!ordered_ || ordered_->command != command || ordered_times_ == 0) return std::nullopt;
    --ordered_times_;
    return ordered_;
}

std::optional<card_download::failure> card_download::open_secure_channel(byte_view data)
{
    const auto refuse = [](uint8_t reason) { return failure{command_secure_channel, reason}; };
    if (const auto ordered = ordered_failure(command_secure_channel)) return ordered;
    if (!session_ || !prepared_) return refuse(reason_transaction_id);
    const auto package = read_header(data);
    const auto request = read_element(data.subspan(package->size));
    if (!request || request->tag != 0xBF23 || package->size + request->whole.size() != data.size())
        return refuse(reason_structure);
    const auto operation = find_child(request->value, 0x82);
    const auto transaction = find_child(request->value, 0x80);
    const auto template_ = find_child(request->value, 0xA6);
    const auto point = find_child(request->value, 0x5F49);
    const auto signature = find_child(request->value, 0x5F37);
    if (!operation || !transaction || !template_ || !point || !signature) return refuse(reason_incorrect_input);
    if (!same(operation->value, byte_vector{1})) return refuse(reason_remote_operation);
    if (!same(transaction->value, session_->transaction_id)) return refuse(reason_transaction_id);
    const auto key_type = find_child(template_->value, 0x80);
    const auto key_length = find_child(template_->value, 0x81);
    const auto host = find_child(template_->value, 0x84);
    if (!key_type || !key_length || !host || !same(key_type->value, byte_vector{key_type_aes}) ||
        !same(key_length->value, byte_vector{key_length_16}) || host->value.empty() || host->value.size() > 16)
        return refuse(reason_crt_values);
    const byte_vector tbs = join({operation->whole, transaction->whole, template_->whole, point->whole,
                                  tlv(0x5F49, prepared_->one_time_key.public_point())});
    if (!verify_signature(prepared_->dp_point, tbs, signature->value)) return refuse(reason_signature);
    try {
        const byte_vector secret = prepared_->one_time_key.agree(point->value);
        loading_->protection.emplace(derive_session_keys(secret, host->value, from_hex(store_.state().eid)));
    } catch (const std::exception &) { // not a point of the curve
        return refuse(reason_incorrect_input);
    }
    loading_->now = phase::configure;
    return std::nullopt;
}

std::optional<card_download::failure> card_download::configure_isdp(byte_view data)
{
    if (const auto ordered = ordered_failure(command_configure)) return ordered;
    const auto sequence = read_element(data);
    if (!sequence || sequence->tag != 0xA0 || sequence->whole.size() != data.size())
        return failure{command_configure, reason_structure};
    const auto segments = read_elements(sequence->value);
    if (!segments || segments->empty()) return failure{command_configure, reason_structure};
    byte_vector command;
    for (const element &segment : *segments) {
        if (segment.tag != 0x87) return failure{command_configure, reason_structure};
        const auto plain = loading_->protection->open(segment.whole);
        if (!plain) return failure{command_configure, reason_security};
        append(command, *plain);
    }
    const auto configure = read_element(command);
    if (!configure || configure->tag != 0xBF24 || configure->whole.size() != command.size())
        return failure{command_configure, reason_incorrect_input};
    loading_->now = phase::metadata_head;
    return std::nullopt;
}

std::optional<card_download::failure> card_download::take_metadata(byte_view segment)
{
    if (const auto ordered = ordered_failure(command_metadata)) return ordered;
    if (segment.front() != 0x88 || segment.size() > loading_->left) return failure{command_metadata, reason_structure};
    const auto plain = loading_->protection->open_mac_only(segment);
    if (!plain) return failure{command_metadata, reason_security};
    append(loading_->metadata, *plain);
    loading_->left -= segment.size();
    return loading_->left == 0 ? read_metadata() : std::nullopt;
}

std::optional<card_download::failure> card_download::read_metadata()
{
    const auto refuse = [](uint8_t reason) { return failure{command_metadata, reason}; };
    const auto metadata = read_element(loading_->metadata);
    if (!metadata || metadata->tag != 0xBF25 || metadata->whole.size() != loading_->metadata.size())
        return refuse(reason_incorrect_input);
    const auto text = [&](uint16_t tag) {
        const auto found = find_child(metadata->value, tag);
        return found ? std::string(found->value.begin(), found->value.end()) : std::string();
    };
    card_profile &profile = loading_->profile;
    const auto iccid = find_child(metadata->value, 0x5A);
    profile.provider = text(0x91);
    profile.name = text(0x92);
    if (!iccid || iccid->value.size() != 10 || profile.provider.size() > 32 || profile.name.size() > 64)
        return refuse(reason_incorrect_input);
    if (store_.state().find_by_iccid(iccid->value)) return refuse(reason_iccid_exists);
    profile.iccid = copy(iccid->value);
    if (const auto profile_class = find_child(metadata->value, 0x95))
        profile.profile_class = static_cast<uint8_t>(to_uint(profile_class->value));
    if (const auto owner = find_child(metadata->value, 0xB7)) profile.owner = copy(owner->value);
    if (const auto rules = find_child(metadata->value, 0x99)) profile.policy = bits_of(rules->value) >> 1 & 3;
    if (const auto configuration = find_child(metadata->value, 0xB6)) {
        const auto entries = read_elements(configuration->value);
        if (!entries) return refuse(reason_incorrect_input);
        for (const element &entry : *entries) {
            const auto events = find_child(entry.value, 0x80);
            const auto address = find_child(entry.value, 0x81);
            if (!events || !address) return refuse(reason_incorrect_input);
            profile.notifications.push_back({bits_of(events->value), {address->value.begin(), address->value.end()}});
        }
    }
    loading_->now = phase::after_metadata;
    return std::nullopt;
}

std::optional<card_download::failure> card_download::replace_session_keys(byte_view data)
{
    const auto refuse = [](uint8_t reason) { return failure{command_replace_keys, reason}; };
    if (const auto ordered = ordered_failure(command_replace_keys)) return ordered;
    const auto sequence = read_element(data);
    const auto segments = sequence ? read_elements(sequence->value) : std::nullopt;
    if (!segments || segments->size() != 1 || segments->front().tag != 0x87 || sequence->whole.size() != data.size())
        return refuse(reason_structure);
    const auto plain = loading_->protection->open(segments->front().whole);
    if (!plain) return refuse(reason_security);
    const auto request = read_element(*plain);
    if (!request || request->tag != 0xBF26) return refuse(reason_incorrect_input);
    const auto chaining = find_child(request->value, 0x80);
    const auto enc = find_child(request->value, 0x81);
    const auto mac = find_child(request->value, 0x82);
    if (!chaining || !enc || !mac || chaining->value.size() != 16 || enc->value.size() != 16 || mac->value.size() != 16)
        return refuse(reason_incorrect_input);
    session_keys keys{};
    std::ranges::copy(chaining->value, keys.mac_chaining_value.begin());
    std::ranges::copy(enc->value, keys.enc.begin());
    std::ranges::copy(mac->value, keys.mac.begin());
    loading_->protection.emplace(keys);
    return std::nullopt;
}

std::optional<card_download::failure> card_download::take_element(byte_view segment)
{
    if (segment.front() != 0x86 || segment.size() > loading_->left) return failure{command_elements, reason_structure};
    const auto plain = loading_->protection->open(segment);
    if (!plain) return failure{command_elements, reason_security};
    const auto progress = loading_->package.add(*plain);
    loading_->left -= segment.size();
    if (const auto ordered = ordered_failure(command_elements)) return ordered;
    if (progress == profile_package_reader::progress::bad) return failure{command_elements, reason_pe_processing};
    if (loading_->package.size() > store_.state().free_memory()) return failure{command_elements, reason_memory};
    return std::nullopt;
}

std::optional<card_download::failure> card_download::install()
{
    const profile_package_reader &package = loading_->package;
    card_profile &profile = loading_->profile;
    if (package.state() != profile_package_reader::progress::complete || !same(package.iccid(), profile.iccid))
        return failure{command_elements, reason_pe_processing};
    profile.size = static_cast<uint32_t>(package.size());
    profile.package_sha256 = to_hex(package.sha256());
    profile.aid = next_aid(store_.state());
    store_.state().profiles.push_back(profile);
    return std::nullopt;
}

// The result is a notification as well; profile and notification are stored in one write.
card_answer card_download::installation_result(std::optional<failure> failed)
{
    card_state &state = store_.state();
    const card_profile profile = loading_->profile;
    const std::string address = session_ ? session_->server_address : std::string();
    const byte_vector transaction_id = session_ ? session_->transaction_id : byte_vector(1);
    const uint32_t number = state.next_sequence_number++;
    byte_vector final_result;
    if (failed) {
        const byte_vector sima = sima_response_tag == 0 ? byte_vector{} : tlv(sima_response_tag, byte_vector{0x30, 0});
        final_result =
            tlv(0xA1, join({tlv(0x80, byte_vector{failed->command}), tlv(0x81, byte_vector{failed->reason}), sima}));
    } else {
        const byte_vector sima{0x30, 0x07, 0xA0, 0x05, 0x30, 0x03, 0x80, 0x01, 0x00};
        final_result = tlv(0xA0, join({tlv(0x4F, profile.aid), tlv(0x04, sima)}));
    }
    byte_vector metadata = card_functions::notification_metadata(number, event_install, address, profile.iccid);
    const byte_vector data =
        tlv(0xBF27, join({tlv(0x80, transaction_id), metadata, tlv(0x06, smdp_oid), tlv(0xA2, final_result)}));
    const byte_vector result = tlv(0xBF37, join({data, tlv(0x5F37, who_.euicc.key.sign(data))}));
    state.notifications.push_back({number, event_install, address, profile.iccid, result});
    if (!failed) functions_.notify(profile, event_install, address);
    store_.commit();
    reset();
    return {result};
}

} // namespace sim
