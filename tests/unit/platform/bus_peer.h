// The other side of a bus connection, for tests: a socket whose server follows a script, and a client that speaks raw
// messages.
#pragma once
#include "simulator/blob.h"
#include "simulator/descriptor.h"
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace bus_peer {

using sim::byte_vector;
using sim::byte_view;

struct raw_message {
    uint8_t type = 0;
    uint16_t sequence = 0;
    uint32_t peer = 0;
    byte_vector contents; // of the root
};

byte_vector encode(const raw_message &message);
// A whole message, or nothing when the other side closes first or stays silent for some seconds.
std::optional<raw_message> receive(int socket);
void send_all(int socket, byte_view bytes);

// Message types and attributes.
enum : uint8_t { HELLO, STATUS, DATA, PING, LOOKUP, INVOKE, ADD_OBJECT, REMOVE_OBJECT };
enum : uint8_t { A_STATUS = 1, A_OBJPATH, A_OBJID, A_METHOD, A_OBJTYPE, A_SIGNATURE, A_DATA };

inline byte_vector status_message(uint16_t sequence, uint32_t code)
{
    return encode({STATUS, sequence, 0, sim::write_blob_uint32(A_STATUS, code)});
}

// Greets one client with these bytes, then answers each of its requests; afterwards closes, or keeps still.
class scripted_broker {
  public:
    using answerer = std::function<byte_vector(const raw_message &request)>;
    explicit scripted_broker(byte_vector greeting, std::vector<answerer> answers = {}, bool closes = true);
    ~scripted_broker();
    const std::string &path() const { return path_; }
    const std::vector<raw_message> &requests(); // waits for the script's end

  private:
    void serve(const byte_vector &greeting, const std::vector<answerer> &answers, bool closes);
    std::string path_;
    sim::descriptor listener_;
    sim::descriptor ends_; // readable when a still server is to end
    std::vector<raw_message> requests_;
    std::thread thread_;
};

byte_vector hello(uint32_t client = 0x1001);

// A client of a broker that sends whatever the test says.
class raw_client {
  public:
    explicit raw_client(const std::string &path);
    uint32_t id() const { return id_; }
    void send(uint8_t type, uint32_t peer, const byte_vector &contents);
    std::optional<raw_message> receive() { return bus_peer::receive(socket_.get()); }
    void send_bytes(byte_view bytes) { send_all(socket_.get(), bytes); }
    // Sends a request and returns its status; the contents of its DATA messages go to data.
    std::optional<uint32_t> ask(uint8_t type, uint32_t peer, const byte_vector &contents,
                                std::vector<byte_vector> *data = nullptr);
    void answer(const raw_message &call, uint8_t type, const byte_vector &contents);
    void close() { socket_ = sim::descriptor(); }

  private:
    sim::descriptor socket_;
    uint16_t sequence_ = 0;
    uint32_t id_ = 0;
};

// The value of an attribute of a message's contents.
std::optional<byte_vector> attribute(const byte_vector &contents, uint8_t id);
std::optional<uint32_t> number(const byte_vector &contents, uint8_t id);
std::string text(const byte_vector &contents, uint8_t id);

} // namespace bus_peer
