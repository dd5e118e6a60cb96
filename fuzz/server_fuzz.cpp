// A television on a bus that handles any calls of several clients, while its model changes and clients leave. The other
// end of its connection stands in for the bus: the bus itself and all clients, whose names the messages carry.

#include <csignal>
#include <regex>
#include <set>

#include "bus/server/server.h"
#include "fuzz/bus_messages.h"
#include "television/status.h"

namespace fuzz {
namespace {

using bus::server::Access;
using simulator::Value;

struct Call {
    char const* interface;
    char const* name;
    std::string_view signature;
};
constexpr char INTROSPECTABLE[] = "org.freedesktop.DBus.Introspectable";
constexpr Call SYNC{bus::MODEL_INTERFACE, bus::SYNC_METHOD, ""};
constexpr Call INTROSPECT{INTROSPECTABLE, "Introspect", ""};
constexpr Call SET{bus::PROPERTIES_INTERFACE, "Set", "ssv"};
constexpr Call GET{bus::PROPERTIES_INTERFACE, "Get", "ss"};
constexpr Call INVOKE{bus::ACTION_INTERFACE, "Invoke", "a(nnns)"};
constexpr Call CREATE{bus::TABLE_INTERFACE, "CreateIterator", "ia(iis)aia(ii)"};
constexpr Call DESTROY{bus::TABLE_INTERFACE, "DestroyIterator", "o"};
constexpr Call CALLS[] = {SYNC,
                          INTROSPECT,
                          SET,
                          GET,
                          INVOKE,
                          CREATE,
                          DESTROY,
                          {bus::PROPERTIES_INTERFACE, "GetAll", "s"},
                          {bus::MANAGER_INTERFACE, "GetManagedObjects", ""},
                          {bus::ITERATOR_INTERFACE, "RequestTotalCount", ""},
                          {bus::ITERATOR_INTERFACE, "SeekToRow", "i"},
                          {bus::ITERATOR_INTERFACE, "SeekToContent", "s"},
                          {bus::ITERATOR_INTERFACE, "ReadRow", ""},
                          {bus::ITERATOR_INTERFACE, "ReadRowChunk", "i"},
                          {bus::ITERATOR_INTERFACE, "Commit", ""},
                          {"org.freedesktop.DBus.Peer", "Ping", ""}};
constexpr char const* KEYS[] = {"n", "x", "s", "i", "l", "a", "t", "u"};
constexpr char OBSERVER[] = ":1.0";  ///< A client whose calls are always served.
constexpr char const* CLIENTS[] = {":1.1", ":1.2", ":1.3"};
constexpr unsigned int USERS[] = {0, 1000, 2000};
constexpr Access RIGHTS[] = {Access::ALL, Access::READ, Access::NONE};

/// A call that was made, and how it was answered.
struct Made {
    Call call;
    std::string sender;
    std::string path;
    Item arguments;
    bool isReplyDue = true;  ///< Unless the client has left.
    bool isApplied = false;  ///< In the reference model.
    int replies = 0;
    bool hasFailed = false;
    bus::Message reply{};
};

bool appendItems(sd_bus_message* message, Item const& root) {
    return std::ranges::all_of(root.items, [&](Item const& item) { return appendItem(message, item) >= 0; });
}

/// The stand-in for the bus, connected with the television that it serves.
class Peer {
public:
    explicit Peer(Bytes& from) : bytes(from) {
        bus::server::Permissions permissions;
        permissions.allow("1000", Access::READ);
        sd_bus* made = nullptr;
        int ends[2]{};
        expect(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0 && sd_bus_new(&made) >= 0 &&
                   sd_bus_set_fd(made, ends[0], ends[0]) >= 0 && sd_bus_start(made) >= 0,
               "the television connects");
        bus::Bus television(made);
        bus_ = makeServer(ends[1]);
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

    /// The answer to a call of the observer's, after which everything that was sent before has been handled.
    Made& callAsObserver(Call const& call, std::string const& path, Item const& arguments = {}) {
        std::uint64_t const number = send(call, path, OBSERVER, arguments);
        while (calls.at(number).replies == 0) {
            expect(server->runOnce(false), "the server serves");
            while (sd_bus_process(bus_.get(), nullptr) > 0) {
            }
        }
        return calls.at(number);
    }
    void sync() { callAsObserver(SYNC, bus::MODEL_PATH); }

    /// Sends a call with these arguments; 0 if the contents are none.
    std::uint64_t send(Call const& call, std::string const& path, char const* sender, Item const& arguments) {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_call(bus_.get(), &made, nullptr, path.c_str(), call.interface, call.name);
        bus::Message const message(made);
        std::uint64_t number = 0;
        if (made != nullptr && sd_bus_message_set_sender(made, sender) >= 0 && appendItems(made, arguments) &&
            sd_bus_send(bus_.get(), made, &number) >= 0) {
            calls.emplace(number, Made{call, sender, path, arguments});
        }
        return number;
    }

    /// The bus reports that the client has left, or another connection claims that.
    void leave(char const* client, char const* sender) {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_signal(bus_.get(), &made, bus::BUS_PATH, bus::BUS_NAME, "NameOwnerChanged");
        bus::Message const signal(made);
        sd_bus_message_set_sender(made, sender);
        sd_bus_message_append(made, "sss", client, client, "");
        sd_bus_send(bus_.get(), made, nullptr);
    }

    /// Answers the oldest request for a client's credentials.
    void answerCredentials(bool isValid) {
        bus::Message const request = std::move(requests_.front());
        requests_.erase(requests_.begin());
        char const* client = nullptr;
        sd_bus_message_rewind(request.get(), 1);
        sd_bus_message_read(request.get(), "s", &client);
        auto const found = std::ranges::find(CLIENTS, std::string_view(client));
        isKnown[client] = isValid;
        auto const index = found != std::end(CLIENTS) ? static_cast<std::size_t>(found - CLIENTS) : 0;
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_return(request.get(), &made);
        bus::Message const reply(made);
        if (isValid) {
            sd_bus_message_append(made, "a{sv}", 2, "UnixUserID", "u", USERS[index], "UnixGroupIDs", "au", 1, 7);
        }
        if ((!isValid && !appendItems(made, makeArguments(bytes, "a{sv}"))) ||
            sd_bus_send(bus_.get(), made, nullptr) < 0) {
            sd_bus_reply_method_errorf(request.get(), SD_BUS_ERROR_NAME_HAS_NO_OWNER, "gone");
        }
    }
    [[nodiscard]] bool isAsked() const { return !requests_.empty(); }

    void publishAction(std::string const& key) {
        tv.publishAction(key, [this](auto const& /*arguments*/) {
            ++invocations;
            return simulator::ActionAnswer{0, {}, simulator::ActionAnswer::Results{}};
        });
    }

    Bytes& bytes;
    std::map<std::uint64_t, Made> calls;
    std::map<std::string, bool> isKnown;  ///< Whether the client's credentials were its own, and not any.
    std::atomic<int> invocations = 0;
    bus::server::ServerLoop loop;
    simulator::Television tv;
    std::unique_ptr<bus::server::Server> server;

private:
    bus::Bus makeServer(int descriptor) {
        sd_bus* made = nullptr;
        expect(sd_bus_new(&made) >= 0 && sd_bus_set_fd(made, descriptor, descriptor) >= 0 &&
                   sd_bus_set_server(made, 1, sd_id128_t{{1}}) >= 0 && sd_bus_start(made) >= 0 &&
                   sd_bus_add_filter(made, nullptr, handleMessage, this) >= 0,
               "the bus serves");
        return bus::Bus(made);
    }

    static int handleMessage(sd_bus_message* message, void* peer, sd_bus_error* /*error*/) {
        auto& self = *static_cast<Peer*>(peer);
        std::uint64_t number = 0;
        if (sd_bus_message_is_method_call(message, bus::BUS_NAME, "GetConnectionCredentials") > 0) {
            self.requests_.emplace_back(sd_bus_message_ref(message));
            char const* client = nullptr;
            sd_bus_message_read(message, "s", &client);
            if (client == std::string_view(OBSERVER)) {
                std::swap(self.requests_.front(), self.requests_.back());
                self.answerCredentials(true);
            }
        } else if (sd_bus_message_get_reply_cookie(message, &number) >= 0) {
            auto const call = self.calls.find(number);
            expect(call != self.calls.end(), "a reply is one to a call");
            expect(++call->second.replies == 1, "a call has one reply");
            call->second.hasFailed = sd_bus_message_is_method_error(message, nullptr) > 0;
            call->second.reply.reset(sd_bus_message_ref(message));
        }
        return 1;
    }

    bus::Bus bus_;
    std::vector<bus::Message> requests_;  ///< For credentials.
};

/// What the television must have, as far as its replies say.
class Run {
public:
    explicit Run(Bytes& from) : bytes(from), peer(from) {
        for (char const* const key : KEYS) {
            readContent(key);
        }
    }

    void run() {
        while (bytes.isLeft() && peer.calls.size() < 300) {
            bytes.runOneOf([&] { call(); }, [&] { call(); }, [&] { call(); }, [&] { changeModel(); },
                           [&] { changeFaults(); },
                           [&] {
                               if (peer.isAsked()) {
                                   peer.answerCredentials(bytes.number(0, 3) != 0);
                               }
                           },
                           [&] { leave(bytes.pick(CLIENTS)); });
            check();
        }
        while (peer.isAsked()) {
            peer.answerCredentials(true);
            check();
        }
        for (auto const& [number, made] : peer.calls) {
            expect(made.replies == 1 || !made.isReplyDue, "every call has a reply");
        }
    }

private:
    Value makeValue() {
        auto const text = [&] {
            std::string made = makeText(bytes);
            return bus::hasValidText(made) ? made : "";
        };
        Value const values[] = {bytes.number<int>(), bytes.number<long long>(), text(),
                                bytes.list(bytes.indexBelow(4), [&] { return bytes.number<int>(); }),
                                bytes.list(bytes.indexBelow(4), text)};
        return bytes.pick(values);
    }

    void call() {
        Call const& call = bytes.pick(CALLS);
        std::string const key = bytes.pick(KEYS);
        Item arguments = makeArguments(bytes, call.signature);
        std::string path = bus::pathOf(key);
        std::string iterator = path;
        if (!iterators.empty()) {
            iterator = std::next(iterators.begin(), bytes.number<std::ptrdiff_t>(0, std::ssize(iterators) - 1))->first;
        }
        if (bytes.number(0, 7) != 0) {  // A call that fits its object.
            path = call.interface == bus::ITERATOR_INTERFACE ? iterator
                   : call.interface == bus::MANAGER_INTERFACE || call.interface == bus::MODEL_INTERFACE
                       ? bus::MODEL_PATH
                       : path;
            bool const isProperty = call.interface == bus::PROPERTIES_INTERFACE && !arguments.items.empty();
            if (auto const content = contents.find(key); isProperty && content != contents.end()) {
                arguments.items.resize(typesOf(call.signature).size(), Item{"s"});
                arguments.items[0] = {"s", 0, interfaces.at(content->second.type)};
                arguments.items[1 % arguments.items.size()].text =
                    arguments.items.size() > 1 ? "Value" : arguments.items[0].text;
                if (call.name == SET.name) {
                    arguments.items[2] = {"v", 0, "", {makeItem(bytes, content->second.type)}};
                }
                makeValid(arguments);
            } else if (call.name == DESTROY.name) {
                arguments.items = {{"o", 0, iterator}};
                path = iterators.contains(iterator) ? bus::pathOf(iterators.at(iterator).second) : path;
            }
        } else if (bytes.nextBool()) {
            path = bytes.text(30);
        }
        peer.send(call, path, bytes.pick(CLIENTS), arguments);
    }

    void changeModel() {
        std::string const key = bytes.pick(KEYS);
        bytes.runOneOf([&] { peer.tv.set(key, makeValue()); },
                       [&] {
                           peer.tv.setRows(key, {Strings(2), {"a"}});
                       },
                       [&] { replace(key, [&] { peer.tv.publish(key, makeValue()); }); },
                       [&] { replace(key, [&] { peer.tv.publishTable(key, {{"a"}}); }); },
                       [&] { replace(key, [&] { peer.publishAction(key); }); },
                       [&] { replace(key, [&] { peer.tv.withdraw(key); }); });
        readContent(key);
    }
    template <typename Change>
    void replace(std::string const& key, Change const& change) {
        bool const was = peer.tv.type(key).has_value();
        change();
        bool const isReplaced = was || peer.tv.type(key);
        std::erase_if(iterators, [&](auto const& each) { return isReplaced && each.second.second == key; });
    }

    void changeFaults() {
        constexpr simulator::Call THROWN[] = {simulator::Call::none,           simulator::Call::read,
                                              simulator::Call::write,          simulator::Call::invoke,
                                              simulator::Call::createIterator, simulator::Call::destroyIterator};
        std::string const key = bytes.pick(KEYS);
        int const status = bytes.number(0, 1);
        bytes.runOneOf([&] { peer.tv.throwFrom(key, bytes.pick(THROWN)); }, [&] { peer.tv.failReads(key, {status}); },
                       [&] { peer.tv.failInvokes(key, status); }, [&] { peer.tv.failDestroys(key, status); },
                       [&] { peer.tv.refuseIterators(key, status != 0); });
    }

    void leave(std::string const& client) {
        bool const isTrue = bytes.nextBool();
        peer.leave(client.c_str(), isTrue ? bus::BUS_NAME : bytes.pick(CLIENTS));
        if (isTrue) {
            std::erase_if(iterators, [&](auto const& each) { return each.second.first == client; });
            for (auto& [number, made] : peer.calls) {
                made.isReplyDue = made.isReplyDue && made.sender != client;
            }
        }
    }

    void readContent(std::string const& key) {
        contents.erase(key);
        if (auto const value = peer.tv.get(key)) {
            contents[key] = std::visit([](auto const& typed) { return itemOf(typed); }, *value);
        }
    }

    /// Applies the replies that have come, and compares.
    void check() {
        peer.sync();
        for (auto& [number, made] : peer.calls) {
            if (made.replies == 1 && !std::exchange(made.isApplied, true) && !made.hasFailed) {
                apply(made);
            }
        }
        expect(peer.invocations == invocations, "an action is invoked once for each call");
        for (auto const& [key, item] : std::map(contents)) {
            readContent(key);
            expect(contents[key] == item, "the model has what was written");
        }
        char const* xml = nullptr;
        sd_bus_message_read_basic(peer.callAsObserver(INTROSPECT, bus::ITERATOR_PATH).reply.get(), 's', &xml);
        std::set<std::string> served;
        std::regex const node("<node name=\"([^\"]+)\"");
        for (std::cregex_iterator each(xml, xml + std::strlen(xml), node); each != std::cregex_iterator(); ++each) {
            served.insert(bus::ITERATOR_PATH + ('/' + (*each)[1].str()));
        }
        expect(std::ranges::equal(served, iterators, {}, {}, [](auto const& each) { return each.first; }),
               "the iterators are those that clients made and did not destroy");
    }

    void apply(Made const& made) {
        auto const client = std::ranges::find(CLIENTS, made.sender);
        if (client == std::end(CLIENTS)) {
            return;
        }
        Access const access = RIGHTS[client - CLIENTS];
        bool const isWriting = made.call.name == SET.name || made.call.name == INVOKE.name;
        expect(!peer.isKnown[made.sender] || access == Access::ALL || (access == Access::READ && !isWriting),
               "nobody does more than is permitted");
        std::string const key = bus::keyOf(made.path).value_or("");
        char const* path = nullptr;
        if (made.call.name == SET.name) {
            contents[key] = made.arguments.items.at(2).items.at(0);
        } else if (made.call.name == INVOKE.name) {
            ++invocations;
        } else if (made.call.name == CREATE.name && made.isReplyDue) {
            expect(sd_bus_message_read_basic(made.reply.get(), 'o', &path) > 0, "an iterator has a path");
            iterators[path] = {made.sender, key};
        } else if (made.call.name == DESTROY.name) {
            auto const found = iterators.find(made.arguments.items.at(0).text);
            expect(found == iterators.end() || found->second == std::pair(made.sender, key),
                   "an iterator is its client's");
            iterators.erase(made.arguments.items.at(0).text);
        }
    }

    Bytes& bytes;
    Peer peer;
    std::map<std::string, std::string> const interfaces{
#define FUZZ_INTERFACE(T, OBJECT, OBSERVER, NOTIFICATION, TYPE, NAME, INTERFACE, SIGNATURE) {SIGNATURE, INTERFACE},
        NRX_PLAIN_KINDS(FUZZ_INTERFACE)
#undef FUZZ_INTERFACE
    };
    int invocations = 0;
    std::map<std::string, Item> contents;                                  ///< By key.
    std::map<std::string, std::pair<std::string, std::string>> iterators;  ///< Client and key, by path.
};

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static int const isBlocked = [] {  // The server's loop takes these signals.
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        sigaddset(&signals, SIGINT);
        return pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    }();
    fuzz::expect(isBlocked == 0, "the signals are blocked");
    fuzz::Bytes bytes(data, size);
    fuzz::Run(bytes).run();
    return 0;
}
