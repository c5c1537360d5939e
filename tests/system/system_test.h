// What system tests share: a router, the library's log, the pauses it took and the outcome of an operation.
#pragma once
#include "lpa/lpa.h"
#include "support/log_capture.h"
#include "system/router.h"
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using nlohmann::json;

extern std::vector<unsigned> pauses; // seconds that the library wanted to sleep

struct outcome {
    uint32_t code = 0;
    std::string document; // empty when there is none
    json parsed() const { return json::parse(document); }
};

// Calls operation(..., &json, &length) and takes the document over.
template <typename Operation, typename... Arguments> outcome run(Operation operation, Arguments... arguments)
{
    char *document = nullptr;
    uint32_t length = 0;
    outcome result{operation(arguments..., &document, &length), {}};
    if (length > 0) {
        EXPECT_NE(document, nullptr);
        EXPECT_EQ(length, strlen(document) + 1);
        result.document = document;
    }
    M_free(document);
    return result;
}

class system_test : public testing::Test {
  protected:
    system_test()
    {
        pauses.clear();
        g_socks_proxy_address = nullptr;
        LPA__set_reload_disabled(0);
        LPA__set_primary_profile(0);
    }

    outcome install(const std::string &activation_code, const char *confirmation_code = nullptr)
    {
        return run(LPA__start_rsp, "modem0", activation_code.c_str(), confirmation_code);
    }
    outcome install(const json &order, const char *confirmation_code = nullptr)
    {
        return install(order.at("activation_code").get<std::string>(), confirmation_code);
    }
    json profiles() { return run(LPA__get_profiles, "modem0").parsed(); }
    json notifications() { return run(LPA__get_notifications, "modem0").parsed(); }

    router desk;
    log_capture log{4};
};

// An order that is found by the matching id TOKEN.
inline json order(json details = json::object())
{
    details.emplace("matching_id", "TOKEN");
    return details;
}
