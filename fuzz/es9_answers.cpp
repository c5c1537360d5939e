// ES9+ answers: HTTP bodies through the functions that ask for them, and the readers behind.
// Input: function (1 byte), request bytes (until record_end), records of scripted_world.h.
#include "es9/es9.h"
#include "es9/es9_extractor.h"
#include "fuzz/document_check.h"
#include "fuzz/scripted_world.h"
#include "lpa/memory.h"
#include "tlv/ber_tlv_parser.h"
#include "tlv/tlv_generator.h"
#include "unit/fakes/fake_https.h"

namespace {
constexpr const char *address = "smdp.example:8443";

void check_text(uint32_t rc, char *text)
{
    REQUIRE(is_result_code(rc));
    REQUIRE((text != nullptr) == (rc == 0));
    M_free(text);
}

TransactionId transaction_id(const exact_bytes &request)
{
    TransactionId id = {};
    const auto bytes = request.all().first(std::min<size_t>(request.size(), TRANSACTION_ID_MAX_BYTES));
    std::ranges::copy(bytes, id.value);
    id.length = static_cast<uint8_t>(bytes.size());
    return id;
}

// The initiated session, and the request that the card gets for it.
void initiate_authentication(const exact_bytes &request)
{
    constexpr uint8_t challenge[16] = {1, 2, 3};
    char *answer = nullptr;
    const uint32_t rc = es9__initiate_authentication(address, challenge, request.data(), request.size(), &answer);
    if (answer) {
        uint8_t *encoded = nullptr;
        uint32_t length = 0;
        const uint32_t code =
            tlv_generator__authenticate_server_request(answer, request.data(), request.size(), &encoded, &length);
        REQUIRE(is_result_code(code));
        REQUIRE((encoded != nullptr) == (code == 0));
        if (encoded) REQUIRE(ber_tlv_parser__validate_tlv(encoded, length) == 0);
        M_free(encoded);
    }
    check_text(rc, answer);
}

void check_consent(const AuthenticateClientResponseEs9 &consent, const exact_bytes *text)
{
    if (consent.failed) return;
    REQUIRE(consent.transactionId.length <= TRANSACTION_ID_MAX_BYTES);
    if (!text) return;
    REQUIRE(text->holds(consent.profileMetadata, consent.profileMetadata_length));
    REQUIRE(text->holds(consent.smdpSigned2, consent.smdpSigned2_length));
    REQUIRE(text->holds(consent.smdpSignature2, consent.smdpSignature2_length));
    REQUIRE(text->holds(consent.smdpCertificate, consent.smdpCertificate_length));
}

void authenticate_client(const exact_bytes &request)
{
    AuthenticateClientResponseEs9 consent = {};
    const uint32_t rc = es9__authenticate_client(address, "0ABC", request.data(), request.size(), &consent);
    REQUIRE(is_result_code(rc));
    REQUIRE((consent.text != nullptr) == (rc == 0));
    check_consent(consent, nullptr);
    if (rc == 0 && consent.smdpSigned2) {
        SmdpSigned2 signed_2 = {};
        es9_tlv_extractor__smdp_signed_2(consent.smdpSigned2, consent.smdpSigned2_length, &signed_2);
    }
    es9__free_authenticate_client_response(&consent);
}

void get_bound_profile_package(const exact_bytes &request)
{
    const TransactionId id = transaction_id(request);
    char *answer = nullptr;
    const uint32_t rc = es9__get_bound_profile_package(address, &id, request.data(), request.size(), &answer);
    check_text(rc, answer);
}

void handle_notification(const exact_bytes &request)
{
    REQUIRE(is_result_code(es9__handle_notification(address, request.data(), request.size())));
}

void cancel_session(const exact_bytes &request)
{
    const TransactionId id = transaction_id(request);
    CancelSessionResponseEs9 response = {};
    REQUIRE(is_result_code(es9__cancel_session(address, &id, request.data(), request.size(), &response)));
}

// The readers on a text in a block of its own size.
void read_answers(const exact_bytes &characters)
{
    const exact_bytes text(exact_text(characters.all()).length() + size_t{1});
    const auto refill = [&] {
        std::copy_n(characters.data(), text.size() - 1, text.data());
        return reinterpret_cast<char *>(text.data());
    };
    AuthenticateClientResponseEs9 consent = {};
    if (es9_json_extractor__authenticate_client_response(refill(), &consent) == 0) check_consent(consent, &text);
    CancelSessionResponseEs9 cancelled = {};
    es9_json_extractor__cancel_session_response(refill(), &cancelled);
    SmdpSigned2 signed_2 = {};
    es9_tlv_extractor__smdp_signed_2(characters.data(), characters.size(), &signed_2);
}

constexpr void (*functions[])(const exact_bytes &request) = {
    initiate_authentication, authenticate_client, get_bound_profile_package,
    handle_notification,     cancel_session,      read_answers,
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const size_t chosen = input.byte() % std::size(functions);
    const exact_bytes request(input.until(record_end));
    const scripted_world world(input.rest());
    functions[chosen](request);
    for (const auto &sent : fake_https.requests)
        if (sent.body) REQUIRE(nlohmann::json::accept(*sent.body));
    world.require_released();
    return 0;
}
