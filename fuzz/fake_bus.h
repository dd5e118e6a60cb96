#pragma once

#include <cstring>

#include "bus/server/server.h"
#include "fuzz/bus_messages.h"

// A television's connection to a bus, and the fake bus at the other end of the connection.

namespace fuzz {

using bus::server::Access;
using simulator::Value;

struct Method {
    char const* interface;
    char const* name;
    std::string_view signature;
};
constexpr char INTROSPECTABLE[] = "org.freedesktop.DBus.Introspectable";
constexpr Method SYNC{bus::MODEL_INTERFACE, bus::SYNC_METHOD, ""};
constexpr Method INTROSPECT{INTROSPECTABLE, "Introspect", ""};
constexpr Method SET{bus::PROPERTIES_INTERFACE, "Set", "ssv"};
constexpr Method GET{bus::PROPERTIES_INTERFACE, "Get", "ss"};
constexpr Method INVOKE{bus::ACTION_INTERFACE, "Invoke", "a(nnns)"};
constexpr Method CREATE_ITERATOR{bus::TABLE_INTERFACE, "CreateIterator", "ia(iis)aia(ii)"};
constexpr Method DESTROY_ITERATOR{bus::TABLE_INTERFACE, "DestroyIterator", "o"};
constexpr Method METHODS[] = {SYNC,
                              INTROSPECT,
                              SET,
                              GET,
                              INVOKE,
                              CREATE_ITERATOR,
                              DESTROY_ITERATOR,
                              {bus::PROPERTIES_INTERFACE, "GetAll", "s"},
                              {bus::OBJECT_MANAGER_INTERFACE, "GetManagedObjects", ""},
                              {bus::ITERATOR_INTERFACE, "RequestTotalCount", ""},
                              {bus::ITERATOR_INTERFACE, "SeekToRow", "i"},
                              {bus::ITERATOR_INTERFACE, "SeekToContent", "s"},
                              {bus::ITERATOR_INTERFACE, "ReadRow", ""},
                              {bus::ITERATOR_INTERFACE, "ReadRowChunk", "i"},
                              {bus::ITERATOR_INTERFACE, "Commit", ""},
                              {"org.freedesktop.DBus.Peer", "Ping", ""}};
constexpr char const* KEYS[] = {"n", "x", "s", "i", "l", "a", "t", "u"};
constexpr std::size_t LONGEST_SIGNATURE = 254;  ///< sd-bus ignores a received message with a longer signature.
constexpr char HARNESS_CLIENT[] = ":1.0";       ///< A client whose calls are always served.
constexpr char const* CLIENTS[] = {":1.1", ":1.2", ":1.3"};
constexpr unsigned int USERS[] = {0, 1000, 2000};
constexpr Access RIGHTS[] = {Access::ALL, Access::READ, Access::NONE};

/// A call and its reply.
struct SentCall {
    Method method;
    std::string sender;
    std::string path;
    MessageItem arguments;
    bool isReplyDue = true;         ///< False after the client has left.
    bool isReplyProcessed = false;  ///< Whether `check` has handled the reply.
    int replies = 0;
    bool isErrorReply = false;
    bus::Message reply{};
};

inline bool appendItems(sd_bus_message* message, MessageItem const& root) {
    return std::ranges::all_of(root.items, [&](MessageItem const& item) { return appendItem(message, item) >= 0; });
}

/// Creates a server, and acts as the bus at the other end of the server's connection.
class FakeBus {
public:
    explicit FakeBus(Bytes& from) : bytes(from) {
        bus::server::Permissions permissions;
        permissions.grantAtLeast("1000", Access::READ);
        sd_bus* made = nullptr;
        int ends[2]{};
        expect(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0 && sd_bus_new(&made) >= 0 &&
                   sd_bus_set_fd(made, ends[0], ends[0]) >= 0 && sd_bus_start(made) >= 0,
               "the television connects");
        bus::Bus television(made);
        bus_ = makeBusSide(ends[1]);
        tv.publish("n", 1);
        tv.publish("x", 1LL);
        tv.publish("s", std::string("text"));
        tv.publish("i", std::vector<int>{1});
        tv.publish("l", Strings{"a"});
        tv.publishTable("t", {{"a", "b"}, {"c"}});
        tv.publishTable("u", {});
        publishAction("a");
        server = std::make_unique<bus::server::Server>(tv, loop, std::move(television), permissions);
    }

    /// Sends a call from `HARNESS_CLIENT` to the server, and runs the server until the reply arrives. Returns the call
    /// with its reply. The server has then received all earlier calls. Calls from clients whose credentials the server
    /// awaits have no reply yet.
    SentCall& callFromHarness(Method const& method, std::string const& path, MessageItem const& arguments = {}) {
        std::uint64_t const number = send(method, path, HARNESS_CLIENT, arguments);
        while (calls.at(number).replies == 0) {
            expect(server->runOnceUnlessTerminated(false), "the server serves");
            while (sd_bus_process(bus_.get(), nullptr) > 0) {
            }
        }
        return calls.at(number);
    }
    void waitUntilCallsReceived() { callFromHarness(SYNC, bus::MODEL_PATH); }

    /// Sends a call with these arguments and returns the call's number, or 0 if the call is no valid message.
    std::uint64_t send(Method const& method, std::string const& path, char const* sender,
                       MessageItem const& arguments) {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_call(bus_.get(), &made, nullptr, path.c_str(), method.interface, method.name);
        bus::Message const message(made);
        std::uint64_t number = 0;
        if (made != nullptr && sd_bus_message_set_sender(made, sender) >= 0 &&
            appendAndSend(made, arguments, &number)) {
            calls.emplace(number, SentCall{method, sender, path, arguments});
        }
        return number;
    }

    /// Sends the signal NameOwnerChanged, which says that the client has left the bus. `sender` is the bus, or a client
    /// that forges the signal.
    void sendClientLeft(char const* client, char const* sender) {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_signal(bus_.get(), &made, bus::BUS_PATH, bus::BUS_NAME, "NameOwnerChanged");
        bus::Message const signal(made);
        sd_bus_message_set_sender(made, sender);
        sd_bus_message_append(made, "sss", client, client, "");
        sd_bus_send(bus_.get(), made, nullptr);
    }

    /// Answers the oldest request for a client's credentials.
    void replyToCredentialsRequest(bool isSuccess) {
        bus::Message const request = std::move(pendingCredentialsRequests_.front());
        pendingCredentialsRequests_.erase(pendingCredentialsRequests_.begin());
        char const* client = nullptr;
        sd_bus_message_rewind(request.get(), 1);
        sd_bus_message_read(request.get(), "s", &client);
        auto const found = std::ranges::find(CLIENTS, std::string_view(client));
        hasValidCredentials[client] = isSuccess;
        auto const index = found != std::end(CLIENTS) ? static_cast<std::size_t>(found - CLIENTS) : 0;
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_return(request.get(), &made);
        bus::Message const reply(made);
        if (isSuccess) {
            sd_bus_message_append(made, "a{sv}", 2, "UnixUserID", "u", USERS[index], "UnixGroupIDs", "au", 1, 7);
        }
        if (!appendAndSend(made, isSuccess ? MessageItem() : makeMutatedArguments(bytes, "a{sv}"), nullptr)) {
            sd_bus_reply_method_errorf(request.get(), SD_BUS_ERROR_NAME_HAS_NO_OWNER, "gone");
        }
    }
    [[nodiscard]] bool hasPendingCredentialsRequests() const { return !pendingCredentialsRequests_.empty(); }

    void publishAction(std::string const& key) {
        tv.publishAction(key, [this](auto const& /*arguments*/) {
            ++invocations;
            return simulator::ActionAnswer{0, {}, simulator::ActionAnswer::Results{}};
        });
    }

    Bytes& bytes;
    std::map<std::uint64_t, SentCall> calls;
    std::map<std::string, bool> hasValidCredentials;  ///< By client: whether the reply with its credentials was valid.
    std::atomic<int> invocations = 0;
    bus::server::ServerLoop loop;
    simulator::Television tv;
    std::unique_ptr<bus::server::Server> server;

private:
    /// Appends the arguments and sends the message. Returns false if the message is not valid or its signature is too
    /// long.
    bool appendAndSend(sd_bus_message* message, MessageItem const& arguments, std::uint64_t* number) {
        return appendItems(message, arguments) &&
               std::strlen(sd_bus_message_get_signature(message, 1)) <= LONGEST_SIGNATURE &&
               sd_bus_send(bus_.get(), message, number) >= 0;
    }

    bus::Bus makeBusSide(int descriptor) {
        sd_bus* made = nullptr;
        expect(sd_bus_new(&made) >= 0 && sd_bus_set_fd(made, descriptor, descriptor) >= 0 &&
                   sd_bus_set_server(made, 1, sd_id128_t{{1}}) >= 0 && sd_bus_start(made) >= 0 &&
                   sd_bus_add_filter(made, nullptr, handleServerMessage, this) >= 0,
               "the bus serves");
        return bus::Bus(made);
    }

    static int handleServerMessage(sd_bus_message* message, void* fakeBus, sd_bus_error* /*error*/) {
        auto& self = *static_cast<FakeBus*>(fakeBus);
        std::uint64_t number = 0;
        if (sd_bus_message_is_method_call(message, bus::BUS_NAME, "GetConnectionCredentials") > 0) {
            self.pendingCredentialsRequests_.emplace_back(sd_bus_message_ref(message));
            char const* client = nullptr;
            sd_bus_message_read(message, "s", &client);
            if (client == std::string_view(HARNESS_CLIENT)) {
                std::swap(self.pendingCredentialsRequests_.front(), self.pendingCredentialsRequests_.back());
                self.replyToCredentialsRequest(true);
            }
        } else if (sd_bus_message_get_reply_cookie(message, &number) >= 0) {
            auto const call = self.calls.find(number);
            expect(call != self.calls.end(), "a reply is one to a call");
            expect(++call->second.replies == 1, "a call has one reply");
            call->second.isErrorReply = sd_bus_message_is_method_error(message, nullptr) > 0;
            call->second.reply.reset(sd_bus_message_ref(message));
        }
        return 1;
    }

    bus::Bus bus_;
    std::vector<bus::Message> pendingCredentialsRequests_;  ///< The unanswered requests for credentials.
};

}  // namespace fuzz
