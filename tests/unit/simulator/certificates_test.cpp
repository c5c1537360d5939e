#include "simulator/certificates.h"
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <openssl/x509v3.h>
#include <thread>

namespace {
using sim::issue_check;

const std::string eid = "89049032123451234512345678901235";

class certificates : public testing::Test {
  protected:
    std::filesystem::path directory = std::filesystem::path(testing::TempDir()) / "certificates-XXXXXX";
    void SetUp() override
    {
        std::string name = directory.string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        directory = name;
    }
    void TearDown() override { std::filesystem::remove_all(directory); }
};

TEST_F(certificates, one_chain_from_the_ci_to_the_euicc)
{
    sim::certificate_authority world(directory);
    const auto &euicc = world.euicc(eid);
    EXPECT_TRUE(sim::is_signed_by(world.ci().cert, world.ci().cert));
    EXPECT_TRUE(sim::is_signed_by(world.eum().cert, world.ci().cert));
    EXPECT_TRUE(sim::is_signed_by(euicc.cert, world.eum().cert));
    for (const auto *server : {&world.dp_auth(), &world.dp_pb(), &world.dp_tls()})
        EXPECT_TRUE(sim::is_signed_by(server->cert, world.ci().cert));
    EXPECT_EQ(sim::check_issued_by(euicc.cert, world.ci().cert), issue_check::other_issuer);
    EXPECT_EQ(sim::check_issued_by(world.eum().cert, euicc.cert), issue_check::other_issuer);
}

TEST_F(certificates, carry_what_the_other_side_checks)
{
    sim::certificate_authority world(directory);
    const auto &euicc = world.euicc(eid);
    EXPECT_EQ(euicc.cert.subject_serial_number, eid);
    EXPECT_EQ(world.eum().cert.subject_serial_number, "");
    EXPECT_EQ(euicc.cert.public_point, euicc.key.public_point());
    EXPECT_EQ(euicc.cert.subject_key_id.size(), 20U);
    EXPECT_EQ(euicc.cert.authority_key_id, world.eum().cert.subject_key_id);
    const std::pair<const sim::identity *, const char *> policies[] = {
        {&world.ci(), sim::policy_ci},       {&world.eum(), sim::policy_eum},
        {&euicc, sim::policy_euicc},         {&world.dp_auth(), sim::policy_dp_auth},
        {&world.dp_pb(), sim::policy_dp_pb}, {&world.dp_tls(), sim::policy_dp_tls}};
    for (const auto &[who, policy] : policies) {
        EXPECT_EQ(who->cert.policies, std::vector<std::string>{policy});
        EXPECT_TRUE(sim::carries_policy(who->cert, policy));
    }
    EXPECT_FALSE(sim::carries_policy(euicc.cert, sim::policy_eum));
    for (const auto *server : {&world.dp_auth(), &world.dp_pb(), &world.dp_tls()})
        EXPECT_EQ(sim::to_hex(server->cert.registered_id), "88370A"); // 2.999.10
    EXPECT_TRUE(euicc.cert.registered_id.empty());
}

TEST_F(certificates, the_tls_certificate_is_for_this_machine)
{
    sim::certificate_authority world(directory);
    const unsigned char *der = world.dp_tls().cert.der.data();
    X509 *cert = d2i_X509(nullptr, &der, static_cast<long>(world.dp_tls().cert.der.size()));
    EXPECT_EQ(X509_check_host(cert, "localhost", 0, 0, nullptr), 1);
    EXPECT_EQ(X509_check_ip_asc(cert, "127.0.0.1", 0), 1);
    EXPECT_EQ(X509_check_ip_asc(cert, "::1", 0), 1);
    EXPECT_EQ(X509_check_host(cert, "elsewhere.example", 0, 0, nullptr), 0);
    X509_free(cert);
}

TEST_F(certificates, a_second_world_in_the_same_directory_is_the_same_world)
{
    sim::certificate_authority first(directory);
    const auto made = first.euicc(eid).cert.der;
    sim::certificate_authority second(directory);
    EXPECT_EQ(second.euicc(eid).cert.der, made);
    EXPECT_EQ(second.ci().cert.der, first.ci().cert.der);
    EXPECT_EQ(second.dp_tls().key.to_pem(), first.dp_tls().key.to_pem());
    EXPECT_NE(first.euicc("89049032123451234512345678901236").cert.der, made);
}

TEST_F(certificates, worlds_made_at_the_same_time_are_one)
{
    std::vector<sim::byte_vector> seen(8);
    std::vector<std::thread> threads;
    for (auto &result : seen)
        threads.emplace_back([&result, this] {
            sim::certificate_authority world(directory);
            result = sim::join({world.ci().cert.der, world.euicc(eid).cert.der});
        });
    for (auto &thread : threads)
        thread.join();
    for (const auto &result : seen)
        EXPECT_EQ(result, seen[0]);
}

TEST_F(certificates, are_files_of_both_forms)
{
    sim::certificate_authority world(directory);
    world.euicc(eid);
    for (const char *name : {"ci", "eum", "dp_auth", "dp_pb", "dp_tls", "euicc-89049032123451234512345678901235"}) {
        EXPECT_GT(std::filesystem::file_size(directory / (std::string(name) + ".pem")), 0U);
        EXPECT_GT(std::filesystem::file_size(directory / (std::string(name) + ".der")), 0U);
    }
}

TEST_F(certificates, a_damaged_file_is_reported)
{
    {
        sim::certificate_authority world(directory);
    }
    std::ofstream(directory / "eum.pem") << "nothing";
    EXPECT_THROW(sim::certificate_authority{directory}, std::runtime_error);
    std::filesystem::copy_file(directory / "ci.pem", directory / "eum.pem",
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_NO_THROW(sim::certificate_authority{directory});
}

TEST_F(certificates, an_eid_has_32_digits)
{
    sim::certificate_authority world(directory);
    for (const char *bad : {"", "8904903212345123451234567890123", "8904903212345123451234567890123A",
                            "../904903212345123451234567890123"})
        EXPECT_THROW(world.euicc(bad), std::invalid_argument);
}

TEST_F(certificates, the_reason_of_a_refusal_is_told)
{
    sim::certificate_authority world(directory);
    using form = sim::certificate_template;
    const auto expired = sim::issue_certificate({.common_name = "x", .not_after = "20210101000000Z"}, &world.eum());
    const auto early = sim::issue_certificate({.common_name = "x", .not_before = "20480101000000Z"}, &world.eum());
    EXPECT_EQ(sim::check_issued_by(expired.cert, world.eum().cert), issue_check::not_valid_now);
    EXPECT_EQ(sim::check_issued_by(early.cert, world.eum().cert), issue_check::not_valid_now);
    const auto foreign_ci =
        sim::issue_certificate(form{.common_name = "Foreign CI", .policy = sim::policy_ci, .issues = true});
    const auto foreign = sim::issue_certificate({.common_name = "x"}, &foreign_ci);
    EXPECT_EQ(sim::check_issued_by(foreign.cert, world.ci().cert), issue_check::other_issuer);
    EXPECT_TRUE(sim::is_signed_by(foreign.cert, foreign_ci.cert));
    EXPECT_TRUE(foreign.cert.policies.empty());
    auto der = world.euicc(eid).cert.der;
    der.back() ^= 1; // within the signature
    const auto changed = sim::read_certificate(der);
    ASSERT_TRUE(changed);
    EXPECT_EQ(sim::check_issued_by(*changed, world.eum().cert), issue_check::bad_signature);
    EXPECT_THROW(sim::issue_certificate({.common_name = "x", .not_after = "soon"}), std::runtime_error);
    EXPECT_THROW(sim::issue_certificate({.common_name = "x", .subject_alt_name = "nonsense"}), std::runtime_error);
    EXPECT_EQ(sim::check_issued_by({}, world.ci().cert), issue_check::other_issuer);
}

TEST_F(certificates, only_one_whole_certificate_is_read)
{
    sim::certificate_authority world(directory);
    auto der = world.ci().cert.der;
    EXPECT_FALSE(sim::read_certificate({}));
    EXPECT_FALSE(sim::read_certificate(sim::byte_view(der).first(der.size() - 1)));
    der.push_back(0);
    EXPECT_FALSE(sim::read_certificate(der));
}
} // namespace
