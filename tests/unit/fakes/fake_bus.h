// Replaces libubus and libubox: records connections, the file service's writes and events.
#pragma once
#include <string>
#include <vector>

struct fake_bus_type {
    bool connects = true;        // ubus_connect and ubus_connect_ctx succeed
    int connections_left = -1;   // until one fails; -1: none does
    bool builds_messages = true; // blob_buf_init succeeds
    bool has_file_object = true; // ubus_lookup_id finds "file"
    bool writes_files = true;    // the file service's write succeeds; it creates the file for real
    int open_connections = 0;
    int unfreed_messages = 0;

    struct field {
        int type;
        std::string name;
        std::string data; // raw bytes, a string's terminator included
    };
    struct call {
        std::string method;
        std::vector<field> fields;
        int timeout;
    };
    std::vector<call> calls;                                        // of ubus_invoke_fd
    std::vector<std::pair<std::string, std::vector<field>>> events; // of ubus_send_event
    void reset() { *this = {}; }
};
extern fake_bus_type fake_bus;
