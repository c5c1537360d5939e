#include "unit/simulator/smdp_server.h"

namespace {
using namespace smdp_test;

// ---- refusals, each for its own reason

TEST_F(server, initiation_is_refused_with_the_reason)
{
    json request = initiation();
    request["smdpAddress"] = "LOCALHOST:" + std::to_string(port);
    EXPECT_EQ(post("initiateAuthentication", request).codes(), "8.8.1 3.8");

    card.ci_key_id = byte_vector(20, 7);
    EXPECT_EQ(initiate().codes(), "8.8.2 3.1");

    const byte_vector key = sim::tlv(0x04, world->ci().cert.subject_key_id);
    for (const uint16_t only : {0xA9, 0xAA}) { // for verifying or for signing, where both are needed
        request = initiation();
        request["euiccInfo1"] =
            sim::to_base64(sim::tlv(0xBF20, sim::join({sim::from_hex("8203020200"), sim::tlv(only, key)})));
        EXPECT_EQ(post("initiateAuthentication", request).codes(), "8.8.2 3.1");
    }

    byte_vector info = sim::from_hex("BF20098203010100A900AA00");
    request = initiation();
    request["euiccInfo1"] = sim::to_base64(info);
    EXPECT_EQ(post("initiateAuthentication", request).codes(), "8.8.3 3.1");
    EXPECT_TRUE(smdp.inspect().at("sessions").empty());
}

struct order_case {
    const char *name;
    json order;
    const char *codes;
};
class server_orders : public server, public testing::WithParamInterface<order_case> {};

TEST_P(server_orders, decide_about_the_client)
{
    order(GetParam().order);
    const reply answer = authenticate();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.codes(), GetParam().codes);
    const json session = smdp.inspect().at("sessions").at(0);
    const bool refused = std::string(GetParam().codes) != "Executed-Success";
    EXPECT_EQ(session.at("state"), refused ? "refused" : "authenticated");
    EXPECT_EQ(session.contains("refused"), refused);
}

INSTANTIATE_TEST_SUITE_P(table, server_orders,
                         testing::ValuesIn(std::vector<order_case>{
                             {"released", {{"state", "released"}}, "Executed-Success"},
                             {"unreleased", {{"state", "unreleased"}}, "8.2 1.2"},
                             {"installed", {{"state", "installed"}}, "8.2.6 3.8"},
                             {"failed", {{"state", "failed"}}, "8.2.6 3.8"},
                             {"expired", {{"state", "expired"}}, "8.8.5 4.10"},
                             {"downloaded_by_another", {{"state", "downloaded"}}, "8.2.6 3.8"},
                             {"for_this_euicc", {{"eid", eid}}, "Executed-Success"},
                             {"for_another_euicc", {{"eid", other_eid}}, "8.1.1 3.8"},
                             {"for_no_such_device", {{"eligible", false}}, "8.2.5 4.3"},
                             {"tried_too_often", {{"attempts", 2}, {"max_attempts", 2}}, "8.8.5 6.4"},
                             {"tried_nearly_too_often", {{"attempts", 1}, {"max_attempts", 2}}, "Executed-Success"},
                             {"larger_than_the_memory", {{"size", (1U << 24U) + 1}}, "8.1 4.8"},
                             {"of_another_matching_id", {{"matching_id", "OTHER"}}, "8.2.6 3.8"},
                         }),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(server, an_empty_matching_id_finds_the_order_of_this_euicc)
{
    order({{"matching_id", "A"}, {"eid", other_eid}});
    card.matching_id = "";
    EXPECT_EQ(authenticate().codes(), "8.2.6 3.8");
    order({{"matching_id", "B"}, {"eid", eid}});
    EXPECT_EQ(authenticate().codes(), "Executed-Success");
    EXPECT_EQ(smdp.inspect().at("sessions").at(1).at("matching_id"), "B");
}

TEST_F(server, the_chain_of_the_euicc_is_checked)
{
    order();
    const auto &eum = world->eum();
    const auto &ci = world->ci();
    const auto euicc_from = [](const sim::identity &maker, const char *not_after = "20491231235959Z",
                               const char *policy = sim::policy_euicc, const std::string &id = eid) {
        return sim::issue_certificate(
            {.common_name = "x", .serial_number = id, .policy = policy, .not_after = not_after}, &maker);
    };
    const auto eum_from = [](const sim::identity &maker, const char *not_after = "20491231235959Z",
                             const char *policy = sim::policy_eum) {
        return sim::issue_certificate({.common_name = "e", .policy = policy, .issues = true, .not_after = not_after},
                                      &maker);
    };
    const auto codes_with = [&](const sim::identity &maker, const sim::identity &euicc) {
        card.eum = maker.cert;
        card.euicc = euicc;
        return authenticate().codes();
    };
    const auto past = "20210101000000Z";
    const auto foreign_ci = sim::issue_certificate({.common_name = "f", .policy = sim::policy_ci, .issues = true});
    auto damaged_eum = eum;
    damaged_eum.cert.der = flipped(eum.cert.der);
    auto damaged_euicc = world->euicc(eid);
    damaged_euicc.cert.der = flipped(damaged_euicc.cert.der);
    const auto good_eum = eum_from(ci);
    const auto foreign_eum = eum_from(foreign_ci);
    const auto expired_eum = eum_from(ci, past);
    const auto eum_as_other = eum_from(ci, "20491231235959Z", sim::policy_dp_pb);

    EXPECT_EQ(codes_with(good_eum, euicc_from(good_eum)), "Executed-Success");
    EXPECT_EQ(codes_with(foreign_eum, euicc_from(foreign_eum)), "8.11.1 3.9");
    EXPECT_EQ(codes_with(damaged_eum, world->euicc(eid)), "8.1.2 6.1");
    EXPECT_EQ(codes_with(expired_eum, euicc_from(expired_eum)), "8.1.2 6.3");
    EXPECT_EQ(codes_with(eum_as_other, euicc_from(eum_as_other)), "8.1.2 6.1");
    EXPECT_EQ(codes_with(eum, damaged_euicc), "8.1.3 6.1");
    EXPECT_EQ(codes_with(eum, euicc_from(good_eum)), "8.1.3 6.1");
    EXPECT_EQ(codes_with(eum, euicc_from(eum, past)), "8.1.3 6.3");
    EXPECT_EQ(codes_with(eum, euicc_from(eum, "20491231235959Z", sim::policy_dp_tls)), "8.1.3 6.1");
    EXPECT_EQ(codes_with(eum, euicc_from(eum, "20491231235959Z", sim::policy_euicc, "89")), "8.1.3 6.1");
}

TEST_F(server, an_unreadable_certificate_is_an_invalid_one)
{
    order();
    card.euicc.cert.der = sim::from_hex("3000");
    EXPECT_EQ(authenticate().codes(), "8.1.3 6.1");
    card.eum.der = sim::from_hex("3000");
    EXPECT_EQ(authenticate().codes(), "8.1.2 6.1");
}

TEST_F(server, what_the_euicc_signed_is_checked)
{
    order();
    // Positions counted from the end of the field that is changed before the card signs.
    const auto codes_with_changed = [&](uint16_t field) {
        const reply initiated = initiate();
        byte_vector signed1 = initiated.bytes("serverSigned1");
        const auto found = *sim::find_child(sim::read_element(signed1)->value, field);
        signed1[static_cast<size_t>(found.whole.data() + found.whole.size() - signed1.data()) - 1] ^= 1;
        return send_server_response(initiated.document.at("transactionId"), card.server_response(signed1)).codes();
    };
    EXPECT_EQ(codes_with_changed(0x80), "8.10.1 3.9");
    EXPECT_EQ(codes_with_changed(0x83), "8.1 6.1");
    EXPECT_EQ(codes_with_changed(0x84), "8.1 6.1");
    EXPECT_EQ(codes_with_changed(0x81), "Executed-Success"); // the card's own challenge is not sent back

    card.euicc.key = sim::key_pair::generate();
    EXPECT_EQ(authenticate().codes(), "8.1 6.1");
}

TEST_F(server, what_the_euicc_trusts_is_checked)
{
    order();
    const reply initiated = initiate();
    card.ci_key_id = byte_vector(20, 7);
    EXPECT_EQ(authenticate(initiated).codes(), "8.11.1 3.9");
}

// What a card may do to the fields of euiccSigned1 before it signs them.
using field_list = std::vector<byte_vector>;
struct signed1_case {
    const char *name;
    void (*spoil)(field_list &fields);
};
class server_signed1 : public server, public testing::WithParamInterface<signed1_case> {};

TEST_P(server_signed1, malformed)
{
    order();
    const reply initiated = initiate();
    const byte_vector whole = card.server_response(initiated.bytes("serverSigned1"));
    const auto signed1 = *sim::read_element(sim::read_element(sim::read_element(whole)->value)->value);
    field_list fields;
    const auto good = *sim::read_elements(signed1.value);
    for (const auto &field : good)
        fields.emplace_back(field.whole.begin(), field.whole.end());
    GetParam().spoil(fields);
    byte_vector spoilt;
    for (const byte_vector &field : fields)
        spoilt = sim::join({spoilt, field});
    const reply answer =
        send_server_response(initiated.document.at("transactionId"), card.authenticated(sim::tlv(0x30, spoilt)));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(smdp.inspect().at("sessions").at(0).at("state"), "initiated");
}

INSTANTIATE_TEST_SUITE_P(
    table, server_signed1,
    testing::ValuesIn(std::to_array<signed1_case>({
        {"fields_exchanged", [](field_list &fields) { std::swap(fields[3], fields[4]); }},
        {"a_field_missing", [](field_list &fields) { fields.erase(fields.begin() + 1); }},
        {"a_field_too_many", [](field_list &fields) { fields.push_back(sim::from_hex("8000")); }},
        {"no_device_info", [](field_list &fields) { fields[4] = sim::from_hex("A00780054649525354"); }},
        {"no_tac", [](field_list &fields) { fields[4] = sim::from_hex("A0048000A100"); }},
        {"a_short_tac", [](field_list &fields) { fields[4] = sim::from_hex("A00B8000A1078003000000A100"); }},
        {"no_capabilities", [](field_list &fields) { fields[4] = sim::from_hex("A00A8000A106800400000000"); }},
        {"a_cut_context", [](field_list &fields) { fields[4] = sim::from_hex("A0038005AA"); }},
        {"no_free_memory",
         [](field_list &fields) {
             const auto info = *sim::read_element(fields[3]);
             fields[3] = sim::tlv(0xBF22, sim::join({sim::find_child(info.value, 0xA9)->whole, sim::find_child(info.value, 0xAA)->whole}));
         }},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(server, a_malformed_server_response_is_no_request)
{
    order();
    const reply initiated = initiate();
    const std::string id = initiated.document.at("transactionId");
    const byte_vector whole = card.server_response(initiated.bytes("serverSigned1"));
    EXPECT_EQ(send_server_response(id, sim::from_hex("BF3800")).status, 400);
    EXPECT_EQ(send_server_response(id, sim::from_hex("BF3802A000")).status, 400);
    EXPECT_EQ(send_server_response(id, sim::from_hex("BF3802A100")).status, 400);
    EXPECT_EQ(send_server_response(id, byte_view(whole).first(whole.size() - 1)).status, 400);
    EXPECT_EQ(send_server_response(id, sim::join({whole, sim::from_hex("3000")})).status, 400);
    EXPECT_EQ(send_server_response(id, whole).codes(), "Executed-Success");
}

TEST_F(server, an_error_of_the_euicc_ends_the_session)
{
    order();
    const reply initiated = initiate();
    const std::string id = initiated.document.at("transactionId");
    const byte_vector error = sim::tlv(0xA1, sim::join({sim::tlv(0x80, sim::from_hex(id)), sim::from_hex("020106")}));
    EXPECT_EQ(send_server_response(id, sim::tlv(0xBF38, error)).codes(), "8.1 4.2");
    EXPECT_EQ(smdp.inspect().at("sessions").at(0).at("euicc_error"), 6);
    EXPECT_EQ(authenticate(initiated).codes(), "8.10.1 3.9");

    const reply authenticated = authenticate();
    const std::string second = authenticated.document.at("transactionId");
    const byte_vector second_error =
        sim::tlv(0xA1, sim::join({sim::tlv(0x80, sim::from_hex(second)), sim::from_hex("020102")}));
    EXPECT_EQ(send_download_response(second, sim::tlv(0xBF21, second_error)).codes(), "8.1 4.2");
    EXPECT_EQ(smdp.inspect().at("sessions").at(1).at("euicc_error"), 2);
    EXPECT_EQ(order_now().at("state"), "released");
}

TEST_F(server, a_session_is_known_by_its_transaction_id_and_its_step)
{
    order();
    EXPECT_EQ(send_server_response("00", card.server_response(initiate().bytes("serverSigned1"))).codes(),
              "8.10.1 3.9");
    const reply initiated = initiate();
    EXPECT_EQ(send_download_response(initiated.document.at("transactionId"), sim::from_hex("BF2100")).codes(),
              "8.10.1 3.9");
    const reply authenticated = authenticate(initiated);
    EXPECT_EQ(authenticate(initiated).codes(), "8.10.1 3.9");
    EXPECT_EQ(prepare(authenticated).codes(), "Executed-Success");
    EXPECT_EQ(prepare(authenticated).codes(), "8.10.1 3.9");
}

TEST_F(server, the_download_response_is_checked)
{
    order();
    reply authenticated = authenticate();
    std::string id = authenticated.document.at("transactionId");
    byte_vector signed2 = authenticated.bytes("smdpSigned2");
    byte_vector signature2 = authenticated.bytes("smdpSignature2");
    EXPECT_EQ(send_download_response(id, card.download_response(signed2, flipped(signature2))).codes(), "8.1 6.1");
    const reply other = authenticate();
    EXPECT_EQ(send_download_response(other.document.at("transactionId"),
                                     card.download_response(signed2, other.bytes("smdpSignature2")))
                  .codes(),
              "8.10.1 3.9");
    authenticated = authenticate();
    id = authenticated.document.at("transactionId");
    EXPECT_EQ(send_download_response(id, sim::from_hex("BF2104A0023000")).status, 400);
    EXPECT_EQ(send_download_response(id, sim::from_hex("BF2102A200")).status, 400);
    EXPECT_EQ(prepare(authenticated).codes(), "Executed-Success"); // a malformed request ends no session
}

TEST_F(server, a_hash_has_32_bytes)
{
    order({{"confirmation_code", "1"}});
    const reply authenticated = authenticate();
    const byte_vector transaction = sim::from_hex(authenticated.document.at("transactionId"));
    const byte_vector signed2 =
        sim::tlv(0x30, sim::join({sim::tlv(0x80, transaction), sim::tlv(0x5F49, card.one_time_key.public_point()),
                                  sim::tlv(0x04, byte_vector(31))}));
    const byte_vector signature = card.signature(sim::join({signed2, authenticated.bytes("smdpSignature2")}));
    const byte_vector response = sim::tlv(0xBF21, sim::tlv(0xA0, sim::join({signed2, signature})));
    EXPECT_EQ(send_download_response(sim::to_hex(transaction), response).status, 400);
    EXPECT_EQ(order_now().at("wrong_codes"), 0);
}

TEST_F(server, a_one_time_key_off_the_curve_is_refused)
{
    order();
    const reply authenticated = authenticate();
    const byte_vector transaction = sim::from_hex(authenticated.document.at("transactionId"));
    byte_vector point = card.one_time_key.public_point();
    const byte_vector signed2 =
        sim::tlv(0x30, sim::join({sim::tlv(0x80, transaction), sim::tlv(0x5F49, flipped(point))}));
    const byte_vector signature = card.signature(sim::join({signed2, authenticated.bytes("smdpSignature2")}));
    EXPECT_EQ(send_download_response(sim::to_hex(transaction),
                                     sim::tlv(0xBF21, sim::tlv(0xA0, sim::join({signed2, signature}))))
                  .codes(),
              "8.1 6.1");
}

TEST_F(server, an_order_removed_meanwhile_is_refused)
{
    order();
    const reply authenticated = authenticate();
    smdp.control({{"do", "remove-order"}, {"matching_id", "FIRST"}});
    EXPECT_EQ(prepare(authenticated).codes(), "8.2.6 3.8");
}

// ---- confirmation codes

TEST_F(server, asks_for_the_confirmation_code_and_checks_its_hash)
{
    order({{"confirmation_code", "1234"}, {"max_wrong_codes", 3}});
    const reply authenticated = authenticate();
    EXPECT_EQ(sim::to_hex(authenticated.bytes("smdpSigned2")).substr(40), "0101FF");
    EXPECT_TRUE(smdp.inspect().at("sessions").at(0).at("code_required"));
    EXPECT_EQ(prepare(authenticated).codes(), "8.2.7 2.2");
    EXPECT_EQ(download("1235").codes(), "8.2.7 3.8");
    EXPECT_EQ(order_now().at("wrong_codes"), 1);
    EXPECT_EQ(download("1234").codes(), "Executed-Success");
}

TEST_F(server, too_many_wrong_codes_end_the_order)
{
    order({{"confirmation_code", "1234"}, {"max_wrong_codes", 2}});
    EXPECT_EQ(download("1").codes(), "8.2.7 3.8");
    EXPECT_EQ(download("2").codes(), "8.2.7 6.4");
    EXPECT_EQ(authenticate().codes(), "8.2.6 3.8");
}

TEST_F(server, an_unasked_hash_does_no_harm)
{
    order();
    EXPECT_EQ(download("1234").codes(), "Executed-Success");
}

TEST_F(server, the_flag_may_say_something_else)
{
    order({{"code_flag", true}});
    EXPECT_EQ(sim::to_hex(authenticate().bytes("smdpSigned2")).substr(40), "0101FF");
    fault("authenticateClient", "code-flag", {{"value", false}});
    EXPECT_EQ(sim::to_hex(authenticate().bytes("smdpSigned2")).substr(40), "010100");
}

// ---- repetition

TEST_F(server, the_same_euicc_may_fetch_again_until_it_has_installed)
{
    order({{"offers_one_time_key", true}});
    EXPECT_EQ(download().codes(), "Executed-Success");
    const reply again = authenticate();
    const byte_vector signed2 = again.bytes("smdpSigned2");
    const auto offered = sim::find_child(sim::read_element(signed2)->value, 0x5F49);
    ASSERT_TRUE(offered);
    EXPECT_TRUE(std::ranges::equal(offered->value, card.one_time_key.public_point()));
    EXPECT_EQ(unpack(prepare(again)).failed_at, "");
    EXPECT_EQ(order_now().at("attempts"), 2);
    test_card stranger(*world, other_eid);
    stranger.matching_id = "FIRST";
    std::swap(card, stranger);
    EXPECT_EQ(authenticate().codes(), "8.2.6 3.8");
}

struct outcome_case {
    const char *name;
    int command, reason; // negative: success
    const char *state;
};
class server_outcomes : public server, public testing::WithParamInterface<outcome_case> {};

TEST_P(server_outcomes, settle_the_order)
{
    order();
    const byte_vector transaction = sim::from_hex(download().document.at("transactionId"));
    const auto &[name, command, reason, state] = GetParam();
    const byte_vector result =
        command < 0 ? card.success() : card.error(static_cast<uint8_t>(command), static_cast<uint8_t>(reason));
    EXPECT_EQ(notify(card.installation_result(transaction, address, result, oid())).status, 204);
    EXPECT_EQ(order_now().at("state"), state);
    const json received = smdp.inspect().at("notifications").at(0).at("result");
    EXPECT_EQ(received.at("success"), command < 0);
    EXPECT_EQ(received.value("command", -1), command);
    EXPECT_EQ(received.value("reason", 0), reason);
}

INSTANTIATE_TEST_SUITE_P(table, server_outcomes,
                         testing::ValuesIn(std::to_array<outcome_case>({
                             {"success", -1, 0, "installed"},
                             {"too_little_memory", 5, 10, "released"},
                             {"interruption", 5, 11, "released"},
                             {"a_bad_element", 5, 12, "failed"},
                             {"a_bad_signature", 0, 2, "failed"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(server, a_second_result_changes_a_settled_order_no_more)
{
    order();
    const byte_vector transaction = sim::from_hex(download().document.at("transactionId"));
    notify(card.installation_result(transaction, address, card.success(), oid()));
    notify(card.installation_result(transaction, address, card.error(5, 12), oid(), 2));
    EXPECT_EQ(order_now().at("state"), "installed");
}

// ---- notifications

TEST_F(server, a_result_that_does_not_verify_is_kept_and_changes_nothing)
{
    order();
    const byte_vector transaction = sim::from_hex(download().document.at("transactionId"));
    EXPECT_EQ(notify(flipped(card.installation_result(transaction, address, card.success(), oid()))).status, 204);
    const json received = smdp.inspect().at("notifications").at(0);
    EXPECT_FALSE(received.at("verified"));
    EXPECT_EQ(received.at("problems"), json::array({"no known eUICC signed it"}));
    EXPECT_EQ(order_now().at("state"), "downloaded");
}

TEST_F(server, oddities_of_a_result_are_told)
{
    order();
    download();
    const byte_vector odd =
        card.installation_result(byte_vector{1}, "other.example", card.success(), byte_vector{0x2A});
    EXPECT_EQ(notify(odd).status, 204);
    EXPECT_EQ(notify(odd).status, 204);
    const json received = smdp.inspect().at("notifications");
    EXPECT_EQ(received.at(0).at("problems"),
              json::array({"meant for another server", "not the SM-DP+'s OID", "unknown transaction"}));
    EXPECT_TRUE(received.at(0).at("verified"));
    EXPECT_FALSE(received.at(0).at("duplicate"));
    EXPECT_TRUE(received.at(1).at("duplicate"));
    EXPECT_EQ(received.at(0).at("raw"), sim::to_hex(odd));
    EXPECT_EQ(order_now().at("state"), "downloaded");
}

TEST_F(server, a_result_counts_only_from_the_euicc_of_the_session)
{
    order();
    const byte_vector transaction = sim::from_hex(download().document.at("transactionId"));
    test_card stranger(*world, other_eid);
    std::swap(card, stranger);
    authenticate(); // so that the server knows it
    EXPECT_EQ(notify(card.installation_result(transaction, address, card.success(), oid())).status, 204);
    EXPECT_EQ(smdp.inspect().at("notifications").at(0).at("eid"), other_eid);
    EXPECT_EQ(order_now().at("state"), "downloaded");
}

TEST_F(server, a_result_without_outcome_is_no_notification)
{
    EXPECT_EQ(notify(card.installation_result(byte_vector{1}, address, {}, oid())).status, 400);
    EXPECT_EQ(notify(card.installation_result(byte_vector{1}, address, sim::from_hex("A103800105"), oid())).status,
              400);
}

TEST_F(server, other_notifications_bring_their_certificates)
{
    const std::pair<const char *, const char *> events[] = {
        {"0780", "install"}, {"0640", "enable"}, {"0520", "disable"}, {"0410", "delete"}};
    uint32_t number = 300;
    for (const auto &[bits, name] : events) {
        EXPECT_EQ(notify(card.event(++number, bits, address)).status, 204);
        const json received = smdp.inspect().at("notifications").back();
        EXPECT_EQ(received.at("kind"), "event");
        EXPECT_EQ(received.at("event"), name);
        EXPECT_EQ(received.at("sequence_number"), number);
        EXPECT_EQ(received.at("eid"), eid);
        EXPECT_TRUE(received.at("verified"));
        EXPECT_TRUE(received.at("problems").empty());
    }
}

TEST_F(server, other_notifications_that_do_not_verify_are_kept)
{
    card.euicc.key = sim::key_pair::generate();
    EXPECT_EQ(notify(card.event(1, "0640", address)).status, 204);
    card.eum = world->dp_pb().cert;
    EXPECT_EQ(notify(card.event(2, "0100", address)).status, 204);
    const json received = smdp.inspect().at("notifications");
    EXPECT_FALSE(received.at(0).at("verified"));
    EXPECT_EQ(received.at(0).at("problems"),
              json::array({"eUICC signature is invalid or serverChallenge is invalid."}));
    EXPECT_FALSE(received.at(1).at("verified"));
    EXPECT_EQ(received.at(1).at("problems"), json::array({"no event", "EUM Certificate is invalid."}));
}

// ---- cancelling

TEST_F(server, a_session_is_cancelled_once)
{
    order();
    const std::string id = authenticate().document.at("transactionId");
    const byte_vector response = card.cancellation(sim::from_hex(id), 0, oid());
    EXPECT_EQ(cancel(id, response).codes(), "Executed-Success");
    const json cancelled = smdp.inspect().at("cancelled_sessions");
    ASSERT_EQ(cancelled.size(), 1U);
    EXPECT_EQ(cancelled.at(0), (json{{"transaction_id", id}, {"matching_id", "FIRST"}, {"eid", eid}, {"reason", 0}}));
    EXPECT_EQ(order_now().at("state"), "failed");
    EXPECT_EQ(smdp.inspect().at("sessions").at(0).at("state"), "cancelled");
    EXPECT_EQ(cancel(id, response).codes(), "8.10.1 3.9");
}

TEST_F(server, a_postponed_download_may_be_made_up_for)
{
    order();
    for (const uint8_t reason : {1, 2}) {
        const std::string id = authenticate().document.at("transactionId");
        EXPECT_EQ(cancel(id, card.cancellation(sim::from_hex(id), reason, oid())).codes(), "Executed-Success");
        EXPECT_EQ(order_now().at("state"), "released");
    }
}

TEST_F(server, a_cancellation_is_checked)
{
    order();
    const std::string id = authenticate().document.at("transactionId");
    const byte_vector transaction = sim::from_hex(id);
    EXPECT_EQ(cancel("00", card.cancellation(transaction, 0, oid())).codes(), "8.10.1 3.9");
    EXPECT_EQ(cancel(id, flipped(card.cancellation(transaction, 0, oid()))).codes(), "8.1 6.1");
    EXPECT_EQ(cancel(id, card.cancellation(flipped(transaction), 0, oid())).codes(), "8.10.1 3.9");
    EXPECT_EQ(cancel(id, card.cancellation(transaction, 0, byte_vector{0x2A})).codes(), "8.8 3.10");
    EXPECT_EQ(cancel(id, sim::from_hex("BF4103810105")).codes(), "8.1 4.2");
    EXPECT_EQ(cancel(id, sim::from_hex("BF4102A000")).status, 400);
    EXPECT_TRUE(smdp.inspect().at("cancelled_sessions").empty());
    EXPECT_EQ(smdp.inspect().at("sessions").at(0).at("euicc_error"), 5);
    EXPECT_EQ(cancel(id, card.cancellation(transaction, 0, oid())).codes(), "Executed-Success");
}

TEST_F(server, without_an_authenticated_euicc_nothing_is_cancelled)
{
    const std::string id = initiate().document.at("transactionId");
    EXPECT_EQ(cancel(id, card.cancellation(sim::from_hex(id), 0, oid())).codes(), "8.10.1 3.9");
}

} // namespace
