// A small card for the server's tests: answers as an eUICC does, and unpacks what it is sent. Every answer can be
// spoilt before it is signed or sent.
#pragma once
#include "simulator/certificates.h"
#include "simulator/profile_package.h"
#include <map>

struct test_card {
    sim::identity euicc;
    sim::certificate eum;
    sim::byte_vector ci_key_id;
    sim::byte_vector challenge = sim::random_bytes(16);
    sim::key_pair one_time_key = sim::key_pair::generate();
    uint32_t free_memory = 1U << 24U;
    std::string matching_id;

    test_card(sim::certificate_authority &world, const std::string &eid)
        : euicc(world.euicc(eid)), eum(world.eum().cert), ci_key_id(world.ci().cert.subject_key_id)
    {
    }
    static sim::byte_vector text(const std::string &value) { return {value.begin(), value.end()}; }
    sim::byte_vector signature(sim::byte_view data) const { return sim::tlv(0x5F37, euicc.key.sign(data)); }

    sim::byte_vector info1() const
    {
        const sim::byte_vector id = sim::tlv(0x04, ci_key_id);
        return sim::tlv(0xBF20,
                        sim::join({sim::tlv(0x82, sim::from_hex("020200")), sim::tlv(0xA9, id), sim::tlv(0xAA, id)}));
    }
    sim::byte_vector info2() const
    {
        const sim::byte_vector id = sim::tlv(0x04, ci_key_id);
        const sim::byte_vector resources =
            sim::join({sim::tlv(0x81, sim::from_hex("00")), sim::tlv(0x82, sim::integer_value(free_memory)),
                       sim::tlv(0x83, sim::from_hex("00"))});
        return sim::tlv(0xBF22, sim::join({sim::tlv(0x82, sim::from_hex("020200")), sim::tlv(0x84, resources),
                                           sim::tlv(0xA9, id), sim::tlv(0xAA, id)}));
    }

    // AuthenticateServerResponse to a ServerSigned1.
    sim::byte_vector server_response(sim::byte_view server_signed1) const
    {
        const auto fields = sim::read_element(server_signed1)->value;
        const sim::byte_vector device = sim::from_hex("A108800400000000A100");
        const sim::byte_vector context = sim::tlv(0xA0, sim::join({sim::tlv(0x80, text(matching_id)), device}));
        const sim::byte_vector signed1 =
            sim::tlv(0x30, sim::join({sim::find_child(fields, 0x80)->whole, sim::find_child(fields, 0x83)->whole,
                                      sim::find_child(fields, 0x84)->whole, info2(), context}));
        return authenticated(signed1);
    }
    sim::byte_vector authenticated(sim::byte_view signed1) const
    {
        return sim::tlv(0xBF38, sim::tlv(0xA0, sim::join({signed1, signature(signed1), euicc.cert.der, eum.der})));
    }

    // PrepareDownloadResponse to a SmdpSigned2.
    sim::byte_vector download_response(sim::byte_view smdp_signed2, sim::byte_view smdp_signature2,
                                       const std::string &code = {}) const
    {
        const auto transaction = *sim::find_child(sim::read_element(smdp_signed2)->value, 0x80);
        const sim::byte_vector hash =
            code.empty() ? sim::byte_vector{}
                         : sim::tlv(0x04, sim::sha256(sim::join({sim::sha256(text(code)), transaction.value})));
        const sim::byte_vector signed2 =
            sim::tlv(0x30, sim::join({transaction.whole, sim::tlv(0x5F49, one_time_key.public_point()), hash}));
        return sim::tlv(0xBF21, sim::tlv(0xA0, sim::join({signed2, signature(sim::join({signed2, smdp_signature2}))})));
    }

    // CancelSessionResponse.
    sim::byte_vector cancellation(sim::byte_view transaction_id, uint8_t reason, sim::byte_view oid) const
    {
        const sim::byte_vector reason_value{reason};
        const sim::byte_vector contents = sim::tlv(
            0x30, sim::join({sim::tlv(0x80, transaction_id), sim::tlv(0x06, oid), sim::tlv(0x81, reason_value)}));
        return sim::tlv(0xBF41, sim::tlv(0xA0, sim::join({contents, signature(contents)})));
    }

    sim::byte_vector notification_metadata(uint32_t number, const char *event_bits, const std::string &address) const
    {
        return sim::tlv(
            0xBF2F, sim::join({sim::tlv(0x80, sim::integer_value(number)), sim::tlv(0x81, sim::from_hex(event_bits)),
                               sim::tlv(0x0C, text(address)), sim::tlv(0x5A, sim::from_hex("98999900000000000010"))}));
    }
    // ProfileInstallationResult; result: contents of A2.
    sim::byte_vector installation_result(sim::byte_view transaction_id, const std::string &address,
                                         sim::byte_view result, sim::byte_view oid, uint32_t number = 1) const
    {
        const sim::byte_vector data =
            sim::tlv(0xBF27, sim::join({sim::tlv(0x80, transaction_id), notification_metadata(number, "0780", address),
                                        sim::tlv(0x06, oid), sim::tlv(0xA2, result)}));
        return sim::tlv(0xBF37, sim::join({data, signature(data)}));
    }
    static sim::byte_vector success() { return sim::from_hex("A0154F10A0000005591010FFFFFFFF8900001000040130"); }
    static sim::byte_vector error(uint8_t command, uint8_t reason)
    {
        return sim::tlv(
            0xA1, sim::join({sim::tlv(0x80, sim::byte_vector{command}), sim::tlv(0x81, sim::byte_vector{reason})}));
    }
    sim::byte_vector event(uint32_t number, const char *event_bits, const std::string &address) const
    {
        const sim::byte_vector metadata = notification_metadata(number, event_bits, address);
        return sim::tlv(0x30, sim::join({metadata, signature(metadata), euicc.cert.der, eum.der}));
    }

    // What unpacking a package came to: where it failed, or its contents.
    struct unpacked {
        std::string failed_at; // empty: nowhere
        sim::byte_vector metadata;
        sim::byte_vector iccid;
        uint64_t size = 0;
        std::string sha256;
        std::map<uint16_t, int> segments; // how many of each tag
        bool keys_replaced = false;
    };
    unpacked unpack(sim::byte_view package, sim::byte_view transaction_id, sim::byte_view smdp_point) const;
};
