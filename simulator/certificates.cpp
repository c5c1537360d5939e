#include "simulator/certificates.h"
#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <mutex>
#include <openssl/conf.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sstream>
#include <stdexcept>
#include <sys/file.h>
#include <unistd.h>

namespace sim {
namespace {
template <auto release> struct releaser {
    template <typename Object> void operator()(Object *object) const { release(object); }
};
template <typename Object, auto release> using handle = std::unique_ptr<Object, releaser<release>>;
using x509 = handle<X509, X509_free>;
using octets = handle<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>;

void require(bool condition, const std::string &what)
{
    if (!condition) throw std::runtime_error(what);
}

x509 parse(byte_view der)
{
    const unsigned char *position = der.data();
    x509 result(d2i_X509(nullptr, &position, static_cast<long>(der.size())));
    const bool nothing_left = result && position == der.data() + der.size();
    return nothing_left ? std::move(result) : nullptr;
}

byte_vector to_der(X509 *cert)
{
    unsigned char *der = nullptr;
    const int length = i2d_X509(cert, &der);
    require(length > 0, "certificate not encoded");
    byte_vector result(der, der + length);
    OPENSSL_free(der);
    return result;
}

byte_vector contents(const ASN1_STRING *text)
{
    if (!text) return {};
    const unsigned char *data = ASN1_STRING_get0_data(text);
    return {data, data + ASN1_STRING_length(text)};
}

byte_vector point_of(X509 *cert)
{
    unsigned char *point = nullptr;
    EVP_PKEY *key = X509_get0_pubkey(cert);
    const size_t length = key ? EVP_PKEY_get1_encoded_public_key(key, &point) : 0;
    byte_vector result(point, point + length);
    OPENSSL_free(point);
    return result;
}

std::string serial_number_of(X509 *cert)
{
    const X509_NAME *name = X509_get_subject_name(cert);
    const int index = X509_NAME_get_index_by_NID(name, NID_serialNumber, -1);
    if (index < 0) return {};
    const byte_vector text = contents(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
    return {text.begin(), text.end()};
}

std::string dotted(const ASN1_OBJECT *oid)
{
    char text[128] = {};
    OBJ_obj2txt(text, sizeof text, oid, 1);
    return text;
}

std::vector<std::string> policies_of(X509 *cert)
{
    const handle<CERTIFICATEPOLICIES, CERTIFICATEPOLICIES_free> found(
        static_cast<CERTIFICATEPOLICIES *>(X509_get_ext_d2i(cert, NID_certificate_policies, nullptr, nullptr)));
    std::vector<std::string> result;
    for (int i = 0; found && i < sk_POLICYINFO_num(found.get()); ++i)
        result.push_back(dotted(sk_POLICYINFO_value(found.get(), i)->policyid));
    return result;
}

byte_vector registered_id_of(X509 *cert)
{
    const handle<GENERAL_NAMES, GENERAL_NAMES_free> names(
        static_cast<GENERAL_NAMES *>(X509_get_ext_d2i(cert, NID_subject_alt_name, nullptr, nullptr)));
    for (int i = 0; names && i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME *name = sk_GENERAL_NAME_value(names.get(), i);
        if (name->type != GEN_RID) continue;
        const unsigned char *data = OBJ_get0_data(name->d.rid);
        return {data, data + OBJ_length(name->d.rid)};
    }
    return {};
}

void add_extension(X509 *cert, X509 *issuer, int nid, const std::string &value)
{
    X509V3_CTX context;
    const handle<CONF, NCONF_free> no_settings(NCONF_new(nullptr)); // policies are refused without a database
    X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
    X509V3_set_nconf(&context, no_settings.get());
    const handle<X509_EXTENSION, X509_EXTENSION_free> extension(
        X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()));
    require(extension && X509_add_ext(cert, extension.get(), -1) == 1, "certificate extension refused: " + value);
}

void add_name(X509_NAME *name, const char *field, const std::string &value)
{
    if (value.empty()) return;
    const auto *text = reinterpret_cast<const unsigned char *>(value.data());
    require(X509_NAME_add_entry_by_txt(name, field, MBSTRING_UTF8, text, static_cast<int>(value.size()), -1, 0) == 1,
            "certificate name refused: " + value);
}

void set_serial_number(X509 *cert)
{
    byte_vector number = random_bytes(8);
    number[0] = static_cast<uint8_t>((number[0] & 0x7FU) | 0x40U); // positive, and always 8 bytes
    const handle<BIGNUM, BN_free> value(BN_bin2bn(number.data(), static_cast<int>(number.size()), nullptr));
    require(BN_to_ASN1_INTEGER(value.get(), X509_get_serialNumber(cert)) != nullptr, "no certificate serial number");
}

// Holds the other processes off while a file is looked for and made.
class directory_lock {
  public:
    explicit directory_lock(const std::filesystem::path &directory)
        : descriptor_(open((directory / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        require(descriptor_ >= 0 && flock(descriptor_, LOCK_EX) == 0, "cannot lock " + directory.string());
    }
    directory_lock(const directory_lock &) = delete;
    directory_lock &operator=(const directory_lock &) = delete;
    ~directory_lock() { close(descriptor_); }

  private:
    int descriptor_;
};

// A reader sees the whole file or none, also after a crash in between.
void write_file(const std::filesystem::path &path, const std::string &text)
{
    const std::filesystem::path draft = path.string() + ".new";
    std::ofstream out(draft, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    require(out.good(), "cannot write " + path.string());
    std::filesystem::permissions(draft, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    std::filesystem::rename(draft, path);
}

std::string to_pem(const certificate &cert)
{
    const x509 parsed = parse(cert.der);
    const handle<BIO, BIO_free_all> out(BIO_new(BIO_s_mem()));
    require(parsed && PEM_write_bio_X509(out.get(), parsed.get()) == 1, "certificate not written");
    char *text = nullptr;
    const long length = BIO_get_mem_data(out.get(), &text);
    return {text, static_cast<size_t>(length)};
}

identity read_identity(const std::filesystem::path &path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    const std::string pem = text.str();
    const handle<BIO, BIO_free_all> in(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    const x509 parsed(PEM_read_bio_X509(in.get(), nullptr, nullptr, nullptr));
    require(parsed != nullptr, "damaged certificate file " + path.string());
    const auto cert = read_certificate(to_der(parsed.get()));
    identity result{key_pair::from_pem(pem), cert.value_or(certificate{})};
    require(result.key.public_point() == result.cert.public_point, "damaged certificate file " + path.string());
    return result;
}
} // namespace

std::optional<certificate> read_certificate(byte_view der)
{
    const x509 parsed = parse(der);
    if (!parsed) return std::nullopt;
    certificate result;
    result.der.assign(der.begin(), der.end());
    result.public_point = point_of(parsed.get());
    if (result.public_point.size() != 65) return std::nullopt; // not P-256
    result.subject_key_id = contents(X509_get0_subject_key_id(parsed.get()));
    result.authority_key_id = contents(X509_get0_authority_key_id(parsed.get()));
    result.subject_serial_number = serial_number_of(parsed.get());
    result.policies = policies_of(parsed.get());
    result.registered_id = registered_id_of(parsed.get());
    return result;
}

bool carries_policy(const certificate &cert, const char *policy)
{
    return std::find(cert.policies.begin(), cert.policies.end(), policy) != cert.policies.end();
}

issue_check check_issued_by(const certificate &subject, const certificate &issuer)
{
    const x509 child = parse(subject.der);
    const x509 parent = parse(issuer.der);
    if (!child || !parent) return issue_check::other_issuer;
    if (X509_NAME_cmp(X509_get_issuer_name(child.get()), X509_get_subject_name(parent.get())) != 0 ||
        subject.authority_key_id != issuer.subject_key_id || X509_check_ca(parent.get()) != 1)
        return issue_check::other_issuer;
    if (X509_verify(child.get(), X509_get0_pubkey(parent.get())) != 1) return issue_check::bad_signature;
    const bool valid_now = X509_cmp_current_time(X509_get0_notBefore(child.get())) < 0 &&
                           X509_cmp_current_time(X509_get0_notAfter(child.get())) > 0;
    return valid_now ? issue_check::good : issue_check::not_valid_now;
}

bool is_signed_by(const certificate &subject, const certificate &issuer)
{
    return check_issued_by(subject, issuer) == issue_check::good;
}

identity issue_certificate(const certificate_template &contents, const identity *issuer)
{
    identity result{key_pair::generate(), {}};
    const x509 cert(X509_new());
    const x509 parent = issuer ? parse(issuer->cert.der) : nullptr;
    X509 *issuing = issuer ? parent.get() : cert.get();
    require(cert && issuing && X509_set_version(cert.get(), X509_VERSION_3) == 1, "no certificate made");
    set_serial_number(cert.get());
    require(ASN1_TIME_set_string_X509(X509_getm_notBefore(cert.get()), contents.not_before.c_str()) == 1 &&
                ASN1_TIME_set_string_X509(X509_getm_notAfter(cert.get()), contents.not_after.c_str()) == 1,
            "certificate dates refused");
    X509_NAME *name = X509_get_subject_name(cert.get());
    add_name(name, "O", contents.organization);
    add_name(name, "CN", contents.common_name);
    add_name(name, "serialNumber", contents.serial_number);
    require(X509_set_issuer_name(cert.get(), X509_get_subject_name(issuing)) == 1 &&
                X509_set_pubkey(cert.get(), result.key.get()) == 1,
            "no certificate made");

    add_extension(cert.get(), issuing, NID_subject_key_identifier, "hash");
    add_extension(cert.get(), issuing, NID_authority_key_identifier, "keyid:always");
    add_extension(cert.get(), issuing, NID_key_usage,
                  contents.issues ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature");
    if (contents.issues) add_extension(cert.get(), issuing, NID_basic_constraints, "critical,CA:TRUE");
    if (!contents.policy.empty())
        add_extension(cert.get(), issuing, NID_certificate_policies, "critical," + contents.policy);
    if (contents.policy == policy_dp_tls)
        add_extension(cert.get(), issuing, NID_ext_key_usage, "critical,serverAuth,clientAuth");
    if (!contents.subject_alt_name.empty())
        add_extension(cert.get(), issuing, NID_subject_alt_name, contents.subject_alt_name);
    require(X509_sign(cert.get(), issuer ? issuer->key.get() : result.key.get(), EVP_sha256()) > 0,
            "certificate not signed");
    result.cert = read_certificate(to_der(cert.get())).value();
    return result;
}

struct certificate_authority::state {
    std::filesystem::path directory;
    identity ci, eum, dp_auth, dp_pb, dp_tls;
    std::mutex mutex; // of what follows
    std::map<std::string, identity> euiccs;

    identity load_or_issue(const std::string &name, const certificate_template &contents, const identity *issuer) const
    {
        const std::filesystem::path file = directory / (name + ".pem");
        if (std::filesystem::exists(file)) return read_identity(file);
        identity made = issue_certificate(contents, issuer);
        write_file(directory / (name + ".der"), {made.cert.der.begin(), made.cert.der.end()});
        write_file(file, made.key.to_pem() + to_pem(made.cert));
        return made;
    }
};

certificate_authority::certificate_authority(const std::filesystem::path &directory) : state_(std::make_shared<state>())
{
    std::filesystem::create_directories(directory);
    const directory_lock lock(directory);
    const std::string own_id = std::string("RID:") + smdp_oid_text;
    state &world = *state_;
    world.directory = directory;
    world.ci = world.load_or_issue("ci", {.common_name = "Desk Test CI", .policy = policy_ci, .issues = true}, nullptr);
    world.eum =
        world.load_or_issue("eum", {.common_name = "Desk Test EUM", .policy = policy_eum, .issues = true}, &world.ci);
    world.dp_auth = world.load_or_issue(
        "dp_auth", {.common_name = "Desk Test SM-DP+ auth", .policy = policy_dp_auth, .subject_alt_name = own_id},
        &world.ci);
    world.dp_pb = world.load_or_issue(
        "dp_pb", {.common_name = "Desk Test SM-DP+ pb", .policy = policy_dp_pb, .subject_alt_name = own_id}, &world.ci);
    world.dp_tls = world.load_or_issue("dp_tls",
                                       {.common_name = "localhost",
                                        .policy = policy_dp_tls,
                                        .subject_alt_name = "DNS:localhost,IP:127.0.0.1,IP:::1," + own_id},
                                       &world.ci);
}

const identity &certificate_authority::ci() const { return state_->ci; }
const identity &certificate_authority::eum() const { return state_->eum; }
const identity &certificate_authority::dp_auth() const { return state_->dp_auth; }
const identity &certificate_authority::dp_pb() const { return state_->dp_pb; }
const identity &certificate_authority::dp_tls() const { return state_->dp_tls; }

const identity &certificate_authority::euicc(const std::string &eid)
{
    if (eid.size() != 32 || eid.find_first_not_of("0123456789") != std::string::npos)
        throw std::invalid_argument("an EID has 32 digits");
    const std::lock_guard guard(state_->mutex);
    const auto known = state_->euiccs.find(eid);
    if (known != state_->euiccs.end()) return known->second;
    const directory_lock lock(state_->directory);
    const certificate_template contents{.common_name = "Desk Test eUICC", .serial_number = eid, .policy = policy_euicc};
    return state_->euiccs.emplace(eid, state_->load_or_issue("euicc-" + eid, contents, &state_->eum)).first->second;
}

} // namespace sim
