// Replaces lmnfinfo: the protected profiles of this test.
#pragma once
#include <optional>
#include <string>
#include <vector>

struct fake_factory_type {
    std::vector<std::string> profiles; // manufacturing ICCIDs
    std::optional<std::string> boot_profile;
    void reset() { *this = {}; }
};
extern fake_factory_type fake_factory;
