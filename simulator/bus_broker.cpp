#include "simulator/bus_broker.h"
#include "simulator/blob.h"
#include "simulator/control_command.h"
#include "simulator/descriptor.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace sim {
namespace {
using nlohmann::json;

enum message_type : uint8_t { hello, status, data, ping, lookup, invoke, add_object, remove_object };
enum attribute_id : uint8_t {
    attr_status = 1,
    attr_objpath,
    attr_objid,
    attr_method,
    attr_objtype,
    attr_signature,
    attr_data
};
constexpr size_t attribute_ids = 16;

enum bus_status : uint32_t {
    ok = 0,
    invalid_command = 1,
    invalid_argument = 2,
    method_not_found = 3,
    not_found = 4,
    permission_denied = 6,
    unknown_error = 9,
    system_error = 13,
    highest_status = system_error,
};

constexpr size_t header_size = 8;
constexpr size_t max_root = 1024 * 1024;
constexpr size_t max_unsent = 8 * 1024 * 1024; // a client that does not read its answers is dropped
constexpr uint32_t event_object = 1;
constexpr uint32_t file_object = 0x5F11E001;
constexpr uint32_t first_client = 0x1001;
constexpr uint32_t first_object = 0x40000001;
constexpr uint32_t first_type = 0x70000001;
constexpr uint32_t broker_itself = 0; // owner of its own objects

struct request {
    uint8_t type;
    uint16_t sequence;
    uint32_t peer;
    byte_vector root; // its contents
    std::array<std::optional<byte_view>, attribute_ids> attributes;

    std::optional<uint32_t> number(attribute_id id) const
    {
        return attributes[id] ? blob_to_uint32(*attributes[id]) : std::nullopt;
    }
    std::optional<std::string> text(attribute_id id) const
    {
        return attributes[id] ? blob_to_text(*attributes[id]) : std::nullopt;
    }
};

struct client {
    uint32_t id;
    descriptor socket;
    byte_vector received;
    byte_vector unsent;
    bool gone = false;
};

struct object {
    uint32_t id;
    uint32_t type;
    uint32_t owner;
    std::string path;                  // empty for an unnamed one
    byte_vector signature;             // contents of the attribute
    std::vector<std::string> patterns; // events it listens to; a trailing star stands for any rest
};

// A call that was passed on to its object's owner.
struct passed_call {
    uint32_t caller;
    uint16_t caller_sequence;
    uint32_t object;
    uint32_t owner;
};

struct switches {
    bool has_file_object = true;
    uint32_t write_status = ok; // what "write" answers, without doing anything, when it is not ok
    bool answers = true;        // false: requests are read and left
    bool says_hello = true;
};

uint32_t read_number(const uint8_t *bytes)
{
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

bool matches(const std::string &pattern, const std::string &name)
{
    if (pattern.ends_with('*')) return name.starts_with(pattern.substr(0, pattern.size() - 1));
    return pattern == name;
}

// Creates or empties a file; a bus status.
uint32_t write_file(const std::string &path, const std::string &text)
{
    const descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0644));
    if (!file && errno == ENOENT) return not_found;
    if (!file && (errno == EACCES || errno == EPERM || errno == EROFS)) return permission_denied;
    if (!file) return unknown_error;
    return write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? ok : unknown_error;
}

std::system_error failure(const std::string &what) { return {errno, std::generic_category(), what}; }

bool is_served(const sockaddr_un &address)
{
    const descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}
} // namespace

struct bus_broker::state {
    explicit state(const std::string &socket_path);
    ~state();
    state(const state &) = delete;
    state &operator=(const state &) = delete;

    void run();
    std::vector<pollfd> descriptors_to_watch();
    void accept_client();
    void receive_from(client &from);
    void take_messages(client &from);
    void flush(client &to);
    void drop_gone_clients();
    void forget_client(uint32_t id);

    void send(client &to, uint8_t type, uint16_t sequence, uint32_t peer, byte_view contents);
    void send_status(client &to, uint16_t sequence, uint32_t peer, uint32_t code);
    client *find_client(uint32_t id);
    object *find_object(uint32_t id);

    void handle(client &from, request &message);
    uint32_t answer(client &from, const request &message);
    uint32_t look_up(client &from, const request &message);
    uint32_t add(client &from, const request &message);
    uint32_t remove(client &from, const request &message);
    std::optional<uint32_t> call(client &from, const request &message);
    std::optional<uint32_t> pass_on(client &from, const request &message, const object &called);
    void pass_back(client &from, const request &message);
    uint32_t call_event_object(client &from, const std::string &method, byte_view arguments);
    uint32_t send_event(client &from, const std::vector<blob_field> &fields);
    uint32_t register_listener(client &from, const std::vector<blob_field> &fields);
    uint32_t call_file_object(const std::string &method, byte_view arguments);
    void set(const json &command);

    std::string path;
    descriptor listener;
    descriptor wake;
    std::mutex mutex; // of all below
    std::vector<std::unique_ptr<client>> clients;
    std::vector<object> objects;
    std::map<uint16_t, passed_call> passed_calls;
    switches settings;
    json events = json::array();
    json calls = json::array();
    uint32_t next_client = first_client;
    uint32_t next_object = first_object;
    uint32_t next_type = first_type;
    uint16_t next_sequence = 1;
    bool ends = false;
    std::thread thread;
};

bus_broker::state::state(const std::string &socket_path) : path(socket_path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    if (is_served(address)) throw std::system_error(EADDRINUSE, std::generic_category(), path);
    unlink(path.c_str());

    if (const auto parent = std::filesystem::path(path).parent_path(); !parent.empty())
        std::filesystem::create_directories(parent);
    listener = descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    wake = descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!listener || !wake) throw failure("socket");
    if (bind(listener.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) throw failure(path);
    if (listen(listener.get(), SOMAXCONN) != 0) throw failure(path);
    objects.push_back({file_object, next_type++, broker_itself, "file", {}, {}});
    thread = std::thread([this] { run(); });
}

bus_broker::state::~state()
{
    {
        const std::lock_guard lock(mutex);
        ends = true;
    }
    eventfd_write(wake.get(), 1);
    thread.join();
    unlink(path.c_str());
}

std::vector<pollfd> bus_broker::state::descriptors_to_watch()
{
    std::vector<pollfd> result = {{wake.get(), POLLIN, 0}, {listener.get(), POLLIN, 0}};
    for (const auto &one : clients)
        result.push_back({one->socket.get(), static_cast<short>(one->unsent.empty() ? POLLIN : POLLIN | POLLOUT), 0});
    return result;
}

void bus_broker::state::run()
{
    std::unique_lock lock(mutex);
    while (!ends) {
        auto watched = descriptors_to_watch();
        lock.unlock();
        poll(watched.data(), watched.size(), -1);
        lock.lock();
        // Only this thread adds and removes clients: they are in the order of the descriptors.
        for (size_t i = 2; i < watched.size(); ++i) {
            client &one = *clients[i - 2];
            if (watched[i].revents & POLLOUT) flush(one);
            if (watched[i].revents & ~POLLOUT) receive_from(one);
        }
        drop_gone_clients();
        if (watched[1].revents) accept_client();
    }
}

void bus_broker::state::accept_client()
{
    descriptor accepted(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!accepted) return;
    clients.push_back(std::make_unique<client>(client{next_client++, std::move(accepted), {}, {}}));
    if (settings.says_hello) send(*clients.back(), hello, 0, clients.back()->id, {});
}

void bus_broker::state::receive_from(client &from)
{
    uint8_t bytes[16384];
    const ssize_t count = recv(from.socket.get(), bytes, sizeof bytes, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) {
        from.gone = true;
        return;
    }
    from.received.insert(from.received.end(), bytes, bytes + count);
    take_messages(from);
}

// Acts on every whole message that was received; one that cannot be one ends the connection.
void bus_broker::state::take_messages(client &from)
{
    size_t used = 0;
    while (!from.gone && from.received.size() - used >= header_size + 4) {
        const uint8_t *const head = from.received.data() + used;
        const size_t length = read_number(head + header_size) & blob_max_length;
        if (head[0] != 0 || length < 4 || length > max_root) {
            from.gone = true;
            return;
        }
        if (from.received.size() - used < header_size + length) break;
        request message = {head[1],
                           static_cast<uint16_t>(head[2] << 8 | head[3]),
                           read_number(head + 4),
                           byte_vector(head + header_size + 4, head + header_size + length),
                           {}};
        used += header_size + length;
        handle(from, message);
    }
    from.received.erase(from.received.begin(), from.received.begin() + static_cast<std::ptrdiff_t>(used));
}

void bus_broker::state::flush(client &to)
{
    while (!to.unsent.empty()) {
        const ssize_t count = ::send(to.socket.get(), to.unsent.data(), to.unsent.size(), MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            to.gone = to.gone || errno != EAGAIN;
            return;
        }
        to.unsent.erase(to.unsent.begin(), to.unsent.begin() + std::max<ssize_t>(count, 0));
    }
}

void bus_broker::state::drop_gone_clients()
{
    for (const auto &one : clients)
        if (one->gone) forget_client(one->id);
    std::erase_if(clients, [](const auto &one) { return one->gone; });
}

// Its objects go, and whoever waits for an answer from it learns that there will be none.
void bus_broker::state::forget_client(uint32_t id)
{
    std::erase_if(objects, [id](const object &one) { return one.owner == id; });
    for (const auto &[sequence, passed] : passed_calls) {
        client *caller = passed.owner == id ? find_client(passed.caller) : nullptr;
        if (caller) send_status(*caller, passed.caller_sequence, passed.object, not_found);
    }
    std::erase_if(passed_calls, [id](const auto &one) { return one.second.owner == id || one.second.caller == id; });
}

void bus_broker::state::send(client &to, uint8_t type, uint16_t sequence, uint32_t peer, byte_view contents)
{
    if (to.gone) return;
    const byte_vector root = write_blob_attribute(0, contents);
    const uint8_t head[] = {0,
                            type,
                            static_cast<uint8_t>(sequence >> 8),
                            static_cast<uint8_t>(sequence),
                            static_cast<uint8_t>(peer >> 24),
                            static_cast<uint8_t>(peer >> 16),
                            static_cast<uint8_t>(peer >> 8),
                            static_cast<uint8_t>(peer)};
    to.unsent.insert(to.unsent.end(), std::begin(head), std::end(head));
    to.unsent.insert(to.unsent.end(), root.begin(), root.end());
    flush(to);
    if (to.unsent.size() > max_unsent) to.gone = true;
}

void bus_broker::state::send_status(client &to, uint16_t sequence, uint32_t peer, uint32_t code)
{
    send(to, status, sequence, peer, write_blob_uint32(attr_status, code));
}

client *bus_broker::state::find_client(uint32_t id)
{
    const auto found = std::ranges::find_if(clients, [id](const auto &one) { return one->id == id && !one->gone; });
    return found == clients.end() ? nullptr : found->get();
}

object *bus_broker::state::find_object(uint32_t id)
{
    const auto found = std::ranges::find(objects, id, &object::id);
    if (found == objects.end() || (id == file_object && !settings.has_file_object)) return nullptr;
    return &*found;
}

void bus_broker::state::handle(client &from, request &message)
{
    if (!settings.answers) return;
    const auto attributes = read_blob_attributes(message.root);
    if (!attributes) {
        send_status(from, message.sequence, message.peer, invalid_argument);
        return;
    }
    for (const blob_attribute &attribute : *attributes)
        if (attribute.id < attribute_ids) message.attributes[attribute.id] = attribute.value;
    if (message.type == data || message.type == status) {
        pass_back(from, message);
        return;
    }
    const auto code = message.type == invoke ? call(from, message) : answer(from, message);
    if (code) send_status(from, message.sequence, message.peer, *code);
}

uint32_t bus_broker::state::answer(client &from, const request &message)
{
    switch (message.type) {
    case ping:
        return ok;
    case lookup:
        return look_up(from, message);
    case add_object:
        return add(from, message);
    case remove_object:
        return remove(from, message);
    default:
        return invalid_command;
    }
}

// Without a path: everything that has one.
uint32_t bus_broker::state::look_up(client &from, const request &message)
{
    const std::string pattern = message.attributes[attr_objpath] ? message.text(attr_objpath).value_or("") : "*";
    bool found = false;
    for (const object &one : objects) {
        if (one.path.empty() || !find_object(one.id) || !matches(pattern, one.path)) continue;
        found = true;
        send(from, data, message.sequence, 0,
             join({write_blob_text(attr_objpath, one.path), write_blob_uint32(attr_objid, one.id),
                   write_blob_uint32(attr_objtype, one.type), write_blob_attribute(attr_signature, one.signature)}));
    }
    return found ? ok : not_found;
}

uint32_t bus_broker::state::add(client &from, const request &message)
{
    object added = {next_object, next_type, from.id, "", {}, {}};
    if (message.attributes[attr_objpath]) {
        added.path = message.text(attr_objpath).value_or("");
        if (added.path.empty() || std::ranges::count(objects, added.path, &object::path) > 0) return invalid_argument;
    }
    byte_vector answer_data = write_blob_uint32(attr_objid, added.id);
    if (const auto signature = message.attributes[attr_signature]) {
        added.signature.assign(signature->begin(), signature->end());
        answer_data = join({answer_data, write_blob_uint32(attr_objtype, added.type)});
    }
    ++next_object;
    ++next_type;
    objects.push_back(std::move(added));
    send(from, data, message.sequence, 0, answer_data);
    return ok;
}

uint32_t bus_broker::state::remove(client &from, const request &message)
{
    const auto id = message.number(attr_objid);
    if (!id) return invalid_argument;
    const object *found = find_object(*id);
    if (!found) return not_found;
    if (found->owner != from.id) return permission_denied;
    std::erase_if(objects, [id](const object &one) { return one.id == *id; });
    send(from, data, message.sequence, 0, write_blob_uint32(attr_objid, *id));
    return ok;
}

// Nothing when the object's owner gives the answer.
std::optional<uint32_t> bus_broker::state::call(client &from, const request &message)
{
    const auto id = message.number(attr_objid);
    const auto method = message.text(attr_method);
    if (!id || !method) return invalid_argument;
    const byte_view arguments = message.attributes[attr_data].value_or(byte_view());
    if (*id == event_object) return call_event_object(from, *method, arguments);
    const object *called = find_object(*id);
    if (!called) return not_found;
    if (*id == file_object) return call_file_object(*method, arguments);
    return pass_on(from, message, *called);
}

std::optional<uint32_t> bus_broker::state::pass_on(client &from, const request &message, const object &called)
{
    client *owner = find_client(called.owner);
    if (!owner) return not_found;
    const uint16_t sequence = next_sequence++;
    passed_calls[sequence] = {from.id, message.sequence, called.id, called.owner};
    send(*owner, invoke, sequence, from.id, message.root);
    return std::nullopt;
}

void bus_broker::state::pass_back(client &from, const request &message)
{
    const auto found = passed_calls.find(message.sequence);
    if (found == passed_calls.end() || found->second.owner != from.id) return; // the answer to an event
    const passed_call passed = found->second;
    if (message.type == status) passed_calls.erase(found);
    if (client *caller = find_client(passed.caller))
        send(*caller, message.type, passed.caller_sequence, passed.object, message.root);
}

uint32_t bus_broker::state::call_event_object(client &from, const std::string &method, byte_view arguments)
{
    const auto fields = read_blob_fields(arguments);
    if (!fields) return invalid_argument;
    if (method == "send") return send_event(from, *fields);
    if (method == "register") return register_listener(from, *fields);
    return method_not_found;
}

uint32_t bus_broker::state::send_event(client &from, const std::vector<blob_field> &fields)
{
    const auto id = find_blob_field(fields, "id", field_type::string);
    const auto table = find_blob_field(fields, "data", field_type::table);
    const auto name = id ? blob_to_text(*id) : std::nullopt;
    auto contents = table ? blob_fields_to_json(*table) : std::nullopt;
    if (!name || !contents) return invalid_argument;
    events.push_back({{"name", *name}, {"data", *contents}, {"fields", *blob_fields_to_list(*table)}});
    for (const object &listener_object : objects) {
        client *owner = find_client(listener_object.owner);
        const bool listens = std::ranges::any_of(listener_object.patterns,
                                                 [&](const std::string &pattern) { return matches(pattern, *name); });
        if (!owner || !listens) continue;
        send(*owner, invoke, next_sequence++, from.id,
             join({write_blob_uint32(attr_objid, listener_object.id), write_blob_text(attr_method, *name),
                   write_blob_attribute(attr_data, *table)}));
    }
    return ok;
}

uint32_t bus_broker::state::register_listener(client &from, const std::vector<blob_field> &fields)
{
    const auto id_field = find_blob_field(fields, "object", field_type::int32);
    const auto pattern_field = find_blob_field(fields, "pattern", field_type::string);
    const auto id = id_field ? blob_to_uint32(*id_field) : std::nullopt;
    const auto pattern = pattern_field ? blob_to_text(*pattern_field) : std::optional<std::string>("*");
    if (!id || !pattern) return invalid_argument;
    object *found = find_object(*id);
    if (!found) return not_found;
    if (found->owner != from.id) return permission_denied;
    found->patterns.push_back(*pattern);
    return ok;
}

uint32_t bus_broker::state::call_file_object(const std::string &method, byte_view arguments)
{
    if (method != "write") return method_not_found;
    const auto fields = read_blob_fields(arguments);
    if (!fields) return invalid_argument;
    const auto path_field = find_blob_field(*fields, "path", field_type::string);
    const auto data_field = find_blob_field(*fields, "data", field_type::string);
    const auto file_path = path_field ? blob_to_text(*path_field) : std::nullopt;
    const auto text = data_field ? blob_to_text(*data_field) : std::nullopt;
    if (!file_path || !text) return invalid_argument;
    const uint32_t code = settings.write_status != ok ? settings.write_status : write_file(*file_path, *text);
    calls.push_back({{"object", "file"}, {"method", method}, {"path", *file_path}, {"data", *text}, {"status", code}});
    return code;
}

void bus_broker::state::set(const json &command)
{
    switches changed = settings;
    for (const auto &[name, value] : command.items()) {
        if (name == "file_object") changed.has_file_object = value.get<bool>();
        else if (name == "write_status") changed.write_status = value.get<uint32_t>();
        else if (name == "answers") changed.answers = value.get<bool>();
        else if (name == "hello") changed.says_hello = value.get<bool>();
        else if (name != "bus") throw std::invalid_argument("the bus has no switch \"" + name + "\"");
    }
    if (changed.write_status > highest_status) throw std::invalid_argument("a status is 0..13");
    settings = changed;
}

bus_broker::bus_broker(const std::string &path) : state_(std::make_unique<state>(path)) {}
bus_broker::~bus_broker() = default;

json bus_broker::control(const json &command)
{
    const std::lock_guard lock(state_->mutex);
    const control_command asked(command, "bus", "bus");
    if (asked.is("events")) return {{"events", state_->events}};
    if (asked.is("calls")) return {{"calls", state_->calls}};
    if (asked.is("clients")) return {{"clients", state_->clients.size()}};
    if (asked.is_called("set")) {
        state_->set(command);
        return json::object();
    }
    if (!asked.is("clear")) throw std::invalid_argument("\"bus\" takes events, calls, clients, clear or set");
    state_->events = json::array();
    state_->calls = json::array();
    return json::object();
}

} // namespace sim
