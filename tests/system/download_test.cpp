#include "system/system_test.h"

namespace {
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

class download : public system_test {};

// What a download that went well leaves behind: the profile byte for byte, its result at the server, nothing pending.
void expect_installed(router &desk, const json &order)
{
    const json card = desk.card();
    ASSERT_EQ(card.at("profiles").size(), 1U);
    const json &profile = card.at("profiles").at(0);
    EXPECT_EQ(profile.at("iccid"), order.at("iccid"));
    EXPECT_EQ(profile.at("size"), order.at("size"));
    EXPECT_EQ(profile.at("package_sha256"), order.at("sha256"));
    EXPECT_THAT(card.at("notifications"), IsEmpty());
    EXPECT_THAT(card.at("open_channels"), IsEmpty());
    const json server = desk.sm_dp();
    EXPECT_EQ(server.at("orders").at(0).at("state"), "installed");
    ASSERT_EQ(server.at("notifications").size(), 1U);
    EXPECT_EQ(server.at("notifications").at(0).at("verified"), true);
    EXPECT_EQ(server.at("notifications").at(0).at("result").at("success"), true);
}

std::string installed_document(const json &order)
{
    return R"({"result":0,"description":"Profile installed","iccid":")" + order.at("iccid").get<std::string>() +
           R"("})";
}

struct size_case {
    const char *name;
    size_t size;
    bool replace_session_keys;
};
class download_of_size : public download, public testing::WithParamInterface<size_case> {};

TEST_P(download_of_size, arrives_byte_for_byte)
{
    const log_capture short_log(3); // a line a command would be millions
    const json ordered =
        desk.add_order(order({{"size", GetParam().size}, {"replace_session_keys", GetParam().replace_session_keys}}));
    const outcome result = install(ordered);
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, installed_document(ordered));
    expect_installed(desk, ordered);
    EXPECT_THAT(pauses, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(table, download_of_size,
                         testing::ValuesIn(std::to_array<size_case>({
                             {"of_1_KB", 1024, true},
                             {"of_1_KB_without_replaced_session_keys", 1024, false},
                             {"of_64_KB", 64 * 1024, true},
                             {"of_1_MB", 1024 * 1024, true},
                             {"of_8_MB", 8 * 1024 * 1024, true},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(download, without_a2_only_warns)
{
    const json ordered = desk.add_order(order({{"replace_session_keys", false}}));
    EXPECT_EQ(install(ordered).code, 0U);
    EXPECT_TRUE(log.contains("[load_bound_profile_package] Load second sequence of 87 failed, rc 1"));
    EXPECT_THAT(log.at(2), HasSubstr("Load second sequence of 87 failed"));
}

TEST_F(download, shows_the_profile_and_sends_its_events)
{
    const json ordered = desk.add_order(order({{"name", "Travel"}, {"provider", "Desk Operator"}}));
    ASSERT_EQ(install(ordered).code, 0U);
    const std::string iccid = ordered.at("iccid");
    EXPECT_EQ(run(LPA__get_profiles, "modem0").document,
              R"([{"iccid":")" + iccid + R"(","status":0,"provider":"Desk Operator","name":"Travel","bootstrap":0}])");
    EXPECT_EQ(desk.events(), json::parse(R"([{"modem":"gsm.modem0","event":4,"state":0},
                                             {"modem":"gsm.modem0","event":0,"state":0}])"));
}

TEST_F(download, of_a_primary_profile_sends_event_7)
{
    LPA__set_primary_profile(1);
    ASSERT_EQ(install(desk.add_order(order())).code, 0U);
    EXPECT_EQ(desk.events().back(), json::parse(R"({"modem":"gsm.modem0","event":7,"state":0})"));
}

TEST_F(download, takes_activation_codes_with_prefix_oid_and_flag)
{
    const std::string rest = "1$" + desk.server() + "$TOKEN";
    for (const std::string &code : {"LPA:" + rest, "lpa:" + rest, rest + "$2.999.10", rest + "$2.999.10$0"}) {
        desk.add_order(order());
        EXPECT_EQ(install(code).code, 0U) << code;
        desk.card_does({{"do", "remove-profiles"}});
        desk.server_does({{"do", "remove-order"}, {"matching_id", "TOKEN"}});
    }
}

TEST_F(download, lowers_the_servers_name_in_url_and_body)
{
    desk.add_order(order());
    const std::string port = desk.server().substr(desk.server().find(':'));
    EXPECT_EQ(install("1$LocalHost" + port + "$TOKEN").code, 0U);
    EXPECT_TRUE(log.contains("[rsp__start_with_activation_code] RSP SMDP+ address lowercase: 'localhost" + port + "'"));
    EXPECT_THAT(desk.sm_dp().at("requests").at(0).at("body").get<std::string>(),
                HasSubstr("\"smdpAddress\":\"localhost" + port + "\""));
}

TEST_F(download, with_the_right_confirmation_code_succeeds)
{
    const json ordered = desk.add_order(order({{"confirmation_code", "2468"}}));
    EXPECT_EQ(install(ordered, "2468").code, 0U);
    expect_installed(desk, ordered);
}

TEST_F(download, with_a_wrong_confirmation_code_is_refused_by_the_server)
{
    const json ordered = desk.add_order(order({{"confirmation_code", "2468"}}));
    const outcome result = install(ordered, "1357");
    EXPECT_EQ(result.code, 1U);
    EXPECT_EQ(result.document, "");
    const json server = desk.sm_dp();
    EXPECT_EQ(server.at("orders").at(0).at("wrong_codes"), 1);
    EXPECT_THAT(desk.card().at("profiles"), IsEmpty());
    EXPECT_EQ(desk.events().back().at("state"), 1);
}

TEST_F(download, without_the_confirmation_code_the_server_asks_for_cancels_the_session)
{
    desk.add_order(order({{"confirmation_code", "2468"}}));
    const outcome result = install("1$" + desk.server() + "$TOKEN");
    EXPECT_EQ(result.code, 1U);
    EXPECT_EQ(desk.sm_dp().at("cancelled_sessions").size(), 1U);
    EXPECT_TRUE(log.contains("[rsp__download_rejection] CancelSessionResponseEs9 is cancelSessionOk"));
    EXPECT_TRUE(log.contains("FATAL [LPA__start_rsp] failed, rc 1"));
}

TEST_F(download, without_the_confirmation_code_that_the_activation_code_announces_never_reaches_the_card)
{
    for (const char *code : {static_cast<const char *>(nullptr), ""})
        EXPECT_EQ(
            install(desk.add_order(order({{"confirmation_code", "2468"}, {"matching_id", code ? "A" : "B"}})), code)
                .code,
            4U);
    EXPECT_THAT(desk.traffic(), IsEmpty());
    EXPECT_THAT(desk.sm_dp().at("requests"), IsEmpty());
}

TEST_F(download, of_nothing_sends_its_event_too)
{
    EXPECT_EQ(run(LPA__start_rsp, "modem0", static_cast<const char *>(nullptr), nullptr).code, 4U);
    EXPECT_EQ(install(std::string("1$smdp.example")).code, 1U);
    EXPECT_EQ(desk.events(), json::parse(R"([{"modem":"gsm.modem0","event":0,"state":4},
                                             {"modem":"gsm.modem0","event":0,"state":1}])"));
}

struct refusal_case {
    const char *name, *subject, *reason;
    int error;
    const char *message;
};
class refused_authentication : public download, public testing::WithParamInterface<refusal_case> {};

TEST_P(refused_authentication, gives_13_and_its_error)
{
    const refusal_case &row = GetParam();
    desk.server_does({{"do", "add-fault"},
                      {"endpoint", "authenticateClient"},
                      {"kind", "refuse"},
                      {"subject", row.subject},
                      {"reason", row.reason},
                      {"message", "no"}});
    const outcome result = install(desk.add_order(order()));
    EXPECT_EQ(result.code, 13U);
    EXPECT_EQ(result.document, "");
    EXPECT_TRUE(log.contains("[rsp__prepare_download] The AuthenticateClientResponseEs9 has an "
                             "authenticateClientError(" +
                             std::to_string(row.error) + "). Aborting the Remote Sim Provisioning procedure"));
    EXPECT_THAT(log.at(2), HasSubstr(std::string("[es9_json_extractor__authenticate_client_error] ") + row.message));
    EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
    EXPECT_EQ(desk.events().back().at("state"), 13);
}

INSTANTIATE_TEST_SUITE_P(
    table, refused_authentication,
    testing::ValuesIn(std::to_array<refusal_case>({
        {"eum_certificate_invalid", "8.1.2", "6.1", 1, "EUM Certificate is invalid."},
        {"eum_certificate_expired", "8.1.2", "6.3", 2, "EUM Certificate has expired."},
        {"euicc_certificate_invalid", "8.1.3", "6.1", 3, "eUICC Certificate is invalid."},
        {"euicc_certificate_expired", "8.1.3", "6.3", 4, "eUICC Certificate has expired."},
        {"euicc_signature_invalid", "8.1", "6.1", 5, "eUICC signature is invalid or serverChallenge is invalid."},
        {"no_space", "8.1", "4.8", 11, "eUICC does not have sufficient space for this Profile."},
        {"unknown_ci", "8.11.1", "3.9", 9,
         "Unknown CI Public Key. The CI used by the EUM Certificate is not a trusted root for the SM-DP+."},
        {"not_released", "8.2", "1.2", 8, "Profile has not yet been released."},
        {"unknown_transaction", "8.10.1", "3.9", 10, "The RSP session identified by the TransactionID is unknown."},
        {"matching_id_refused", "8.2.6", "3.8", 6, "MatchingID (AC_Token or EventID) is refused."},
        {"other_eid", "8.1.1", "3.8", 7, "EID doesn't match the expected value."},
        {"not_eligible", "8.2.5", "4.3", 8, "No eligible Profile for this eUICC/Device."},
        {"order_expired", "8.8.5", "4.10", 127, "The Download order has expired"},
        {"too_many_retries", "8.8.5", "6.4", 127,
         "The maximum number of retries for the Profile download order has been exceeded."},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(download, is_refused_by_the_server_for_its_own_reasons)
{
    EXPECT_EQ(install("1$" + desk.server() + "$UNKNOWN").code, 13U);
    EXPECT_THAT(log.at(2), HasSubstr("MatchingID (AC_Token or EventID) is refused."));
    log.clear();
    desk.add_order(order({{"matching_id", "OTHER"}, {"eid", "89049032000000000000000000000000"}}));
    EXPECT_EQ(install("1$" + desk.server() + "$OTHER").code, 13U);
    EXPECT_THAT(log.at(2), HasSubstr("EID doesn't match the expected value."));
}

struct loading_case {
    const char *name;
    int command, reason;
    const char *description;
    const char *stopped; // the log's word for where the loading ended
};
class stopped_loading : public download, public testing::WithParamInterface<loading_case> {};

TEST_P(stopped_loading, gives_16_and_the_cards_reason)
{
    const loading_case &row = GetParam();
    const json ordered = desk.add_order(order());
    desk.card_does({{"do", "fail-loading"}, {"command", row.command}, {"reason", row.reason}});
    const outcome result = install(ordered);
    EXPECT_EQ(result.code, 16U);
    EXPECT_EQ(result.document,
              R"({"result":)" + std::to_string(row.reason) + R"(,"description":")" + row.description + R"("})");
    EXPECT_TRUE(log.contains("ES10.LoadBoundProfilePackage (5/5)"));
    EXPECT_TRUE(log.contains(std::string("[load_bound_profile_package] Install profile process finished after load ") +
                             row.stopped));
    EXPECT_THAT(desk.card().at("profiles"), IsEmpty());
    EXPECT_THAT(desk.card().at("notifications"), IsEmpty());
    const json server = desk.sm_dp();
    ASSERT_EQ(server.at("notifications").size(), 1U);
    EXPECT_EQ(server.at("notifications").at(0).at("result").at("success"), false);
    EXPECT_EQ(desk.events().back().at("state"), 16);
}

INSTANTIATE_TEST_SUITE_P(
    phases, stopped_loading,
    testing::ValuesIn(std::to_array<loading_case>({
        {"secure_channel", 0, 2, "Profile not installed. Invalid signature", "the initialize secure channel"},
        {"configure_isdp", 1, 7, "Profile not installed. SCP03t structure error", "the first sequence of 87"},
        {"store_metadata", 2, 9, "Profile not installed. Install failed due to iccid already exists on eUICC",
         "the sequence of 88"},
        {"replace_session_keys", 4, 8, "Profile not installed. SCP03t security error", "the second sequence of 87"},
        {"profile_elements", 5, 12, "Profile not installed. Install failed due to PE processing error",
         "the sequence of 86"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    reasons, stopped_loading,
    testing::ValuesIn(std::to_array<loading_case>({
        {"incorrect_input", 0, 1, "Profile not installed. Incorrect input values", "the initialize secure channel"},
        {"transaction_id", 0, 3, "Profile not installed. Invalid transaction ID", "the initialize secure channel"},
        {"crt_values", 0, 4, "Profile not installed. Unsupported crt values", "the initialize secure channel"},
        {"remote_operation", 0, 5, "Profile not installed. Unsupported remote operation type",
         "the initialize secure channel"},
        {"profile_class", 2, 6, "Profile not installed. Unsupported profile class", "the sequence of 88"},
        {"memory", 5, 10, "Profile not installed. Install failed due to insufficient memory for profile",
         "the sequence of 86"},
        {"interruption", 5, 11, "Profile not installed. Install failed due to interruption", "the sequence of 86"},
        {"data_mismatch", 5, 13, "Profile not installed. Install failed due to data mismatch", "the sequence of 86"},
        {"naa_key", 5, 14, "Profile not installed. Test profile install failed due to invalid naa key",
         "the sequence of 86"},
        {"policy_rules", 2, 15, "Profile not installed. PPR not allowed", "the sequence of 88"},
        {"unknown", 5, 127, "Profile not installed. Install failed due to unknown error", "the sequence of 86"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

struct defect_case {
    const char *name, *defect;
    int result; // of the document
};
class defective_package : public download, public testing::WithParamInterface<defect_case> {};

// The card itself finds what is wrong.
TEST_P(defective_package, is_refused_by_the_card)
{
    const json ordered = desk.add_order(order());
    desk.server_does({{"do", "add-fault"},
                      {"endpoint", "getBoundProfilePackage"},
                      {"kind", "package"},
                      {"defect", GetParam().defect}});
    const outcome result = install(ordered);
    EXPECT_EQ(result.code, 16U);
    EXPECT_EQ(result.parsed().at("result"), GetParam().result);
    EXPECT_THAT(desk.card().at("profiles"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(table, defective_package,
                         testing::ValuesIn(std::to_array<defect_case>({
                             {"remote_operation", "remote-operation", 5},
                             {"transaction_id", "transaction-id", 3},
                             {"key_type", "key-type", 4},
                             {"signature", "signature", 2},
                             {"configure_isdp", "configure-isdp", 1},
                             {"store_metadata", "store-metadata", 1},
                             {"replace_session_keys", "replace-session-keys", 1},
                             {"profile_element", "profile-element", 12},
                             {"segment_mac", "segment-mac", 8},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(download, that_does_not_begin_with_a_package_sends_the_card_nothing_of_it)
{
    const json ordered = desk.add_order(order());
    desk.server_does(
        {{"do", "add-fault"}, {"endpoint", "getBoundProfilePackage"}, {"kind", "package"}, {"defect", "first-tag"}});
    EXPECT_EQ(install(ordered).code, 1U);
    EXPECT_TRUE(log.contains("[load_bound_profile_package] Load initialize secure channel request failed, rc 1"));
    for (const std::string &command : desk.traffic())
        EXPECT_THAT(command, testing::Not(HasSubstr("BF36")));
}

TEST_F(download, delivers_its_result_and_removes_it_from_the_card)
{
    const json ordered = desk.add_order(order());
    ASSERT_EQ(install(ordered).code, 0U);
    EXPECT_TRUE(log.contains("[delete_install_notification] Notification with SequenceNumber 1 removed successfully"));
    EXPECT_EQ(desk.sm_dp().at("notifications").size(), 1U);
    EXPECT_EQ(notifications(), json::array());
}

struct unreported_case {
    const char *name;
    uint32_t sequence_number;
};
class unreported : public download, public testing::WithParamInterface<unreported_case> {};

TEST_P(unreported, installation_stays_on_the_card_until_notifications_are_processed)
{
    const json ordered = desk.add_order(order());
    desk.card_does({{"do", "set"}, {"next_sequence_number", GetParam().sequence_number}});
    desk.server_does({{"do", "add-fault"},
                      {"endpoint", "handleNotification"},
                      {"kind", "close"},
                      {"times", 2},
                      {"processed", false}});
    EXPECT_EQ(install(ordered).code, 0U);
    EXPECT_THAT(log.at(1), HasSubstr("[rsp__start_with_activation_code] Error processing the ProfileInstallationResult "
                                     "notification, rc 1"));
    EXPECT_THAT(log.at(2), HasSubstr("[LPA__start_rsp] could not process the notifications, rc 11"));
    const std::string iccid = ordered.at("iccid");
    EXPECT_EQ(run(LPA__get_notifications, "modem0").document,
              R"([{"sequence_number":)" + std::to_string(GetParam().sequence_number) + R"(,"event":0,"address":")" +
                  desk.server() + R"(","iccid":")" + iccid + R"("}])");

    EXPECT_EQ(run(LPA__process_notifications, "modem0").code, 0U);
    EXPECT_EQ(notifications(), json::array());
    EXPECT_EQ(desk.sm_dp().at("notifications").size(), 1U);
    EXPECT_EQ(desk.sm_dp().at("notifications").at(0).at("verified"), true);
}

INSTANTIATE_TEST_SUITE_P(table, unreported,
                         testing::ValuesIn(std::to_array<unreported_case>({
                             {"sequence_number_1", 1},
                             {"sequence_number_0", 0},
                             {"sequence_number_300", 300},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

struct server_fault_case {
    const char *name, *endpoint, *kind;
    json parameters;
    uint32_t code;
};
class server_fault : public download, public testing::WithParamInterface<server_fault_case> {};

TEST_P(server_fault, ends_the_download_and_leaves_the_card_clean)
{
    const server_fault_case &row = GetParam();
    json fault = row.parameters;
    fault.update({{"do", "add-fault"}, {"endpoint", row.endpoint}, {"kind", row.kind}});
    desk.server_does(fault);
    EXPECT_EQ(install(desk.add_order(order())).code, row.code);
    EXPECT_THAT(desk.card().at("profiles"), IsEmpty());
    EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
    EXPECT_THAT(pauses, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    table, server_fault,
    testing::ValuesIn(std::to_array<server_fault_case>({
        {"status_500", "initiateAuthentication", "http-status", {{"status", 500}}, 1},
        {"status_204", "authenticateClient", "http-status", {{"status", 204}}, 1},
        {"empty_body", "getBoundProfilePackage", "empty-body", json::object(), 1},
        {"closed_connection", "initiateAuthentication", "close", json::object(), 1},
        {"cut_package", "getBoundProfilePackage", "cut-connection", {{"bytes", 2000}}, 1},
        {"warning_instead_of_success",
         "authenticateClient",
         "execution-status",
         {{"value", "Executed-WithWarning"}},
         1},
        {"no_certificate", "initiateAuthentication", "remove-member", {{"member", "serverCertificate"}}, 1},
        {"no_package", "getBoundProfilePackage", "remove-member", {{"member", "boundProfilePackage"}}, 1},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(download, over_a_connection_that_is_reset_gives_1)
{
    desk.server_does({{"do", "add-fault"},
                      {"endpoint", "getBoundProfilePackage"},
                      {"kind", "cut-connection"},
                      {"bytes", 2000},
                      {"reset", true}});
    EXPECT_EQ(install(desk.add_order(order())).code, 1U);
    EXPECT_THAT(log.at(1), HasSubstr("Connection reset by peer"));
}

TEST_F(download, from_a_server_that_is_down_gives_1)
{
    const json ordered = desk.add_order(order());
    desk.server_does({{"do", "stop"}});
    EXPECT_EQ(install(ordered).code, 1U);
    EXPECT_THAT(log.at(1), HasSubstr("[HTTP_execute] curl_easy_perform failed: "));
}

TEST_F(download, from_a_host_that_is_not_found_gives_11)
{
    EXPECT_EQ(install(std::string("1$nowhere.invalid$TOKEN")).code, 11U);
}

TEST_F(download, accepts_escaped_padding)
{
    desk.server_does({{"do", "set"}, {"escape_base64", true}, {"header_last", true}});
    for (size_t size : {1024U, 1025U, 1026U}) {
        const json ordered = desk.add_order(order({{"size", size}}));
        EXPECT_EQ(install(ordered).code, 0U) << size;
        EXPECT_EQ(desk.card().at("profiles").at(0).at("package_sha256"), ordered.at("sha256"));
        desk.card_does({{"do", "remove-profiles"}});
        desk.server_does({{"do", "remove-order"}, {"matching_id", "TOKEN"}});
    }
}

class proxied : public download {
  protected:
    ~proxied() override { g_socks_proxy_address = nullptr; }
    std::string address = desk.proxy();
    void use_proxy() { g_socks_proxy_address = address.data(); }
};

TEST_F(proxied, download_names_the_server_to_the_socks5_proxy)
{
    use_proxy();
    ASSERT_EQ(install(desk.add_order(order())).code, 0U);
    const json targets = desk.command({{"proxy", true}, {"do", "inspect"}}).at("targets");
    ASSERT_EQ(targets.size(), 4U); // one connection a request
    for (const json &target : targets) {
        EXPECT_EQ(target.at("host"), "localhost");
        EXPECT_EQ(target.at("by_name"), true);
    }
    EXPECT_THAT(log.at(1), HasSubstr("[network__send_https_request] Proxy set to " + address));
    EXPECT_TRUE(log.contains("[HTTP_proxy_initialize] Proxy initialized to " + address));
    EXPECT_TRUE(log.contains("[HTTP_proxy_initialize] Proxy type set to SOCKS5"));
}

TEST_F(proxied, download_through_a_proxy_that_refuses_gives_1_after_status_0)
{
    use_proxy();
    desk.command({{"proxy", true}, {"do", "refuse"}, {"reply", 1}});
    EXPECT_EQ(install(desk.add_order(order())).code, 1U);
    EXPECT_TRUE(log.contains("HTTP response status code 0"));
    EXPECT_THAT(log.at(1), HasSubstr("HTTP request failed, status code 0"));
    EXPECT_THAT(desk.sm_dp().at("requests"), IsEmpty());
}

TEST_F(proxied, download_goes_direct_once_the_address_is_cleared)
{
    use_proxy();
    desk.command({{"proxy", true}, {"do", "refuse"}, {"reply", 1}});
    ASSERT_EQ(install(desk.add_order(order())).code, 1U);
    g_socks_proxy_address = nullptr;
    EXPECT_EQ(install("1$" + desk.server() + "$TOKEN").code, 0U);
}
} // namespace
