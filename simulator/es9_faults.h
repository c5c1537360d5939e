// simulator/es9_faults.h: faults that a test orders for requests to come: "the second getBoundProfilePackage is
// answered with HTTP status 500".
#pragma once
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace sim {

// Those that concern one request.
class fired_faults {
  public:
    // The parameters of the first fault of this kind; null when it did not fire.
    const nlohmann::json *find(const std::string &kind) const;
    bool has(const std::string &kind) const { return find(kind) != nullptr; }
    std::vector<nlohmann::json> all;
};

class ordered_faults {
  public:
    // { endpoint, kind, at: 1 is the next request, times: how often from then on, and the kind's own parameters }.
    // Throws std::invalid_argument or nlohmann's exceptions.
    void add(const nlohmann::json &command);
    void clear() { faults_.clear(); }
    fired_faults take(const std::string &endpoint); // counts the request
    nlohmann::json to_json() const;                 // those still to come

  private:
    struct fault {
        std::string endpoint;
        uint32_t at;
        uint32_t times;
        nlohmann::json parameters;
    };
    std::vector<fault> faults_;
};

} // namespace sim
