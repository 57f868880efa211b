// SPDX-License-Identifier: MIT

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <string>
#include <systemd/sd-bus.h>
#include <unistd.h>

// The functions of libsystemd that the program uses, by their own names: they pass each call on to the
// library, which is loaded when there is a bus to connect to. Without one, an agent does not have this
// library and the six others that it needs in memory. All but the two functions that open a connection are
// called with an object of the library.

namespace {

void* library() {
    static void* const handle = dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
    return handle;
}

template <class Function>
Function* find(const char* name) {
    return reinterpret_cast<Function*>(dlsym(library(), name));
}

/// Returns 0 if there may be a bus at the address in the variable or, without the variable, at the socket.
/// Otherwise returns what the library would return, or -ELIBACC when there is a bus and no library.
int findBus(const char* variable, const std::string& socket) {
    if (!std::getenv(variable) && ::access(socket.c_str(), F_OK) != 0) {
        return -errno;
    }
    return library() ? 0 : -ELIBACC;
}

} // namespace

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): a name and a text of it
#define KVN_PASS_ON(name, ...)                                                                               \
    static const auto real = find<decltype(name)>(#name);                                                    \
    return real(__VA_ARGS__)

int sd_bus_open_user(sd_bus** bus) {
    constexpr const char* kVariable = "DBUS_SESSION_BUS_ADDRESS";
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    if (!folder && !std::getenv(kVariable)) {
        return -ENOMEDIUM;
    }
    if (const int error = findBus(kVariable, std::string(folder ? folder : "") + "/bus"); error != 0) {
        return error;
    }
    KVN_PASS_ON(sd_bus_open_user, bus);
}

int sd_bus_open_system(sd_bus** bus) {
    if (const int error = findBus("DBUS_SYSTEM_BUS_ADDRESS", "/run/dbus/system_bus_socket"); error != 0) {
        return error;
    }
    KVN_PASS_ON(sd_bus_open_system, bus);
}

int sd_bus_message_append(sd_bus_message* message, const char* types, ...) {
    static const auto real = find<decltype(sd_bus_message_appendv)>("sd_bus_message_appendv");
    va_list values;
    va_start(values, types);
    const int result = real(message, types, values);
    va_end(values);
    return result;
}

int sd_bus_message_read(sd_bus_message* message, const char* types, ...) {
    static const auto real = find<decltype(sd_bus_message_readv)>("sd_bus_message_readv");
    va_list values;
    va_start(values, types);
    const int result = real(message, types, values);
    va_end(values);
    return result;
}

int sd_bus_process(sd_bus* bus, sd_bus_message** message) { KVN_PASS_ON(sd_bus_process, bus, message); }
int sd_bus_send(sd_bus* bus, sd_bus_message* message, std::uint64_t* cookie) {
    KVN_PASS_ON(sd_bus_send, bus, message, cookie);
}
int sd_bus_call_async(sd_bus* bus, sd_bus_slot** slot, sd_bus_message* message,
                      sd_bus_message_handler_t handler, void* object, std::uint64_t limit) {
    KVN_PASS_ON(sd_bus_call_async, bus, slot, message, handler, object, limit);
}
int sd_bus_add_match_async(sd_bus* bus, sd_bus_slot** slot, const char* match,
                           sd_bus_message_handler_t handler, sd_bus_message_handler_t installed,
                           void* object) {
    KVN_PASS_ON(sd_bus_add_match_async, bus, slot, match, handler, installed, object);
}
int sd_bus_add_object_vtable(sd_bus* bus, sd_bus_slot** slot, const char* path, const char* interface,
                             const sd_bus_vtable* vtable, void* object) {
    KVN_PASS_ON(sd_bus_add_object_vtable, bus, slot, path, interface, vtable, object);
}
int sd_bus_set_method_call_timeout(sd_bus* bus, std::uint64_t limit) {
    KVN_PASS_ON(sd_bus_set_method_call_timeout, bus, limit);
}
int sd_bus_is_ready(sd_bus* bus) { KVN_PASS_ON(sd_bus_is_ready, bus); }
int sd_bus_get_fd(sd_bus* bus) { KVN_PASS_ON(sd_bus_get_fd, bus); }
int sd_bus_get_events(sd_bus* bus) { KVN_PASS_ON(sd_bus_get_events, bus); }
int sd_bus_get_timeout(sd_bus* bus, std::uint64_t* time) { KVN_PASS_ON(sd_bus_get_timeout, bus, time); }
int sd_bus_get_n_queued_write(sd_bus* bus, std::uint64_t* result) {
    KVN_PASS_ON(sd_bus_get_n_queued_write, bus, result);
}
sd_bus* sd_bus_close_unref(sd_bus* bus) { KVN_PASS_ON(sd_bus_close_unref, bus); }
sd_bus_slot* sd_bus_slot_unref(sd_bus_slot* slot) { KVN_PASS_ON(sd_bus_slot_unref, slot); }
int sd_bus_message_new_signal(sd_bus* bus, sd_bus_message** message, const char* path, const char* interface,
                              const char* member) {
    KVN_PASS_ON(sd_bus_message_new_signal, bus, message, path, interface, member);
}
int sd_bus_message_new_method_call(sd_bus* bus, sd_bus_message** message, const char* destination,
                                   const char* path, const char* interface, const char* member) {
    KVN_PASS_ON(sd_bus_message_new_method_call, bus, message, destination, path, interface, member);
}
int sd_bus_message_set_auto_start(sd_bus_message* message, int start) {
    KVN_PASS_ON(sd_bus_message_set_auto_start, message, start);
}
int sd_bus_message_is_method_error(sd_bus_message* message, const char* name) {
    KVN_PASS_ON(sd_bus_message_is_method_error, message, name);
}
const sd_bus_error* sd_bus_message_get_error(sd_bus_message* message) {
    KVN_PASS_ON(sd_bus_message_get_error, message);
}
const char* sd_bus_message_get_path(sd_bus_message* message) {
    KVN_PASS_ON(sd_bus_message_get_path, message);
}
const char* sd_bus_message_get_member(sd_bus_message* message) {
    KVN_PASS_ON(sd_bus_message_get_member, message);
}
const char* sd_bus_message_get_sender(sd_bus_message* message) {
    KVN_PASS_ON(sd_bus_message_get_sender, message);
}
const char* sd_bus_message_get_destination(sd_bus_message* message) {
    KVN_PASS_ON(sd_bus_message_get_destination, message);
}
int sd_bus_message_open_container(sd_bus_message* message, char type, const char* contents) {
    KVN_PASS_ON(sd_bus_message_open_container, message, type, contents);
}
int sd_bus_message_close_container(sd_bus_message* message) {
    KVN_PASS_ON(sd_bus_message_close_container, message);
}
int sd_bus_message_enter_container(sd_bus_message* message, char type, const char* contents) {
    KVN_PASS_ON(sd_bus_message_enter_container, message, type, contents);
}
int sd_bus_message_exit_container(sd_bus_message* message) {
    KVN_PASS_ON(sd_bus_message_exit_container, message);
}
int sd_bus_message_peek_type(sd_bus_message* message, char* type, const char** contents) {
    KVN_PASS_ON(sd_bus_message_peek_type, message, type, contents);
}
int sd_bus_message_read_basic(sd_bus_message* message, char type, void* value) {
    KVN_PASS_ON(sd_bus_message_read_basic, message, type, value);
}
int sd_bus_message_skip(sd_bus_message* message, const char* types) {
    KVN_PASS_ON(sd_bus_message_skip, message, types);
}
sd_bus_message* sd_bus_message_unref(sd_bus_message* message) { KVN_PASS_ON(sd_bus_message_unref, message); }
