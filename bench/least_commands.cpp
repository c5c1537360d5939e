#include "bench/least_commands.h"
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <stdexcept>

namespace {
using bytes = std::vector<uint8_t>;

constexpr size_t block_bytes = 240;         // of one STORE DATA command
constexpr size_t response_bytes = 256;      // of one GET RESPONSE command
constexpr size_t sessions = 2;              // the download's, and that of the delivery of notifications
constexpr size_t commands_of_a_session = 6; // AT+CMEE=?, AT+CMEE=, open, TERMINAL CAPABILITY, SELECT, close

constexpr uint8_t instruction_select = 0xA4;
constexpr uint8_t instruction_get_response = 0xC0;
constexpr uint8_t instruction_store_data = 0xE2;
constexpr uint8_t last_block = 0x80; // in P1

constexpr uint32_t bound_profile_package = 0xBF36;
constexpr uint32_t functions[] = {
    0xBF20,                // GetEUICCInfo1
    0xBF2E,                // GetEUICCChallenge
    0xBF38,                // AuthenticateServer
    0xBF21,                // PrepareDownload
    bound_profile_package, // LoadBoundProfilePackage
    0xBF30,                // NotificationSent
    0xBF28,                // ListNotification
};

// A command, or a request put together from its blocks, and how much the card had to say to it.
struct message {
    bytes data;
    size_t answer_bytes = 0;
};

struct element {
    uint32_t tag;
    size_t header_bytes;
    size_t bytes; // header included
};

size_t pieces(size_t length, size_t piece) { return (length + piece - 1) / piece; }

bytes hex_between_quotes(const std::string &text)
{
    const size_t start = text.find('"');
    bytes result;
    if (start == std::string::npos) return result;
    for (size_t i = start + 1; i + 1 < text.size() && text[i] != '"'; i += 2)
        result.push_back(static_cast<uint8_t>(std::strtoul(text.substr(i, 2).c_str(), nullptr, 16)));
    return result;
}

// APDUs, each with all that its GET RESPONSE commands brought.
std::vector<message> apdus_of(const std::vector<exchange> &traffic)
{
    std::vector<message> apdus;
    for (const exchange &entry : traffic) {
        bytes apdu = hex_between_quotes(entry.command);
        if (apdu.size() < 5) continue; // no AT+CSIM
        if (apdu[1] != instruction_get_response) apdus.push_back({std::move(apdu)});
        const size_t answer = hex_between_quotes(entry.answer).size();
        apdus.back().answer_bytes += answer - std::min<size_t>(answer, 2); // without the status word
    }
    return apdus;
}

element element_at(const bytes &data, size_t position)
{
    const size_t start = position;
    const auto next = [&]() -> uint32_t {
        if (position >= data.size()) throw std::runtime_error("an element is cut");
        return data[position++];
    };
    uint32_t tag = next();
    if ((tag & 0x1FU) == 0x1FU) tag = tag << 8U | next();
    size_t length = next();
    if (length > 0x80) {
        size_t count = length - 0x80;
        for (length = 0; count > 0; --count)
            length = length << 8U | next();
    }
    return {tag, position - start, position - start + length};
}

// ES10 requests. The package is one of them, whatever series it came in.
std::vector<message> requests_of(const std::vector<message> &apdus)
{
    std::vector<message> requests;
    bool is_open = false; // the last request goes on with the next block
    for (const message &apdu : apdus) {
        if (apdu.data[1] != instruction_store_data) continue;
        if (!is_open) requests.emplace_back();
        message &request = requests.back();
        const auto block = apdu.data.begin() + 5;
        request.data.insert(request.data.end(), block, block + apdu.data[4]);
        request.answer_bytes += apdu.answer_bytes;
        is_open = (apdu.data[2] & last_block) == 0;
        const element first = element_at(request.data, 0);
        if (first.tag == bound_profile_package) is_open = request.data.size() < first.bytes;
    }
    return requests;
}

// SGP.22 2.5.5: the package goes to the card as one series of blocks for its own header with the
// InitialiseSecureChannelRequest, each sequence of 87, the header of the sequences of 88 and 86 and each of their
// elements.
size_t segments_of_package(const bytes &package)
{
    size_t segments = 0;
    size_t position = element_at(package, 0).header_bytes;
    size_t pending = position; // bytes that go with the next element
    while (position < package.size()) {
        const element part = element_at(package, position);
        const bool by_elements = part.tag == 0xA1 || part.tag == 0xA3;
        segments += pieces(pending + (by_elements ? part.header_bytes : part.bytes), block_bytes);
        pending = 0;
        const size_t end = position + part.bytes;
        position = by_elements ? position + part.header_bytes : end;
        while (position < end) {
            const size_t size = element_at(package, position).bytes;
            segments += pieces(size, block_bytes);
            position += size;
        }
    }
    return segments;
}
} // namespace

least_commands least_commands_of_download(const std::vector<exchange> &traffic)
{
    const std::vector<message> apdus = apdus_of(traffic);
    const auto select =
        std::ranges::find_if(apdus, [](const message &apdu) { return apdu.data[1] == instruction_select; });
    if (select == apdus.end()) throw std::runtime_error("no application was selected");
    const std::vector<message> requests = requests_of(apdus);
    least_commands least;
    least.all = sessions * (commands_of_a_session + pieces(select->answer_bytes, response_bytes));
    for (const uint32_t function : functions) {
        const auto request = std::ranges::find_if(
            requests, [&](const message &candidate) { return element_at(candidate.data, 0).tag == function; });
        if (request == requests.end()) throw std::runtime_error("a function was not called");
        const bool is_package = function == bound_profile_package;
        const size_t blocks =
            is_package ? segments_of_package(request->data) : pieces(request->data.size(), block_bytes);
        if (is_package) least.package_segments = blocks;
        least.all += blocks + pieces(request->answer_bytes, response_bytes);
    }
    return least;
}
