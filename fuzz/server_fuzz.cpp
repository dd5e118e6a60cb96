// Several clients make random calls to a television on a bus, while the television's model changes and clients leave.
// The fake bus acts as the bus daemon and as all clients. The sender of each call names the client.

#include <csignal>
#include <cstring>
#include <regex>
#include <set>

#include "fuzz/fake_bus.h"

namespace fuzz {
namespace {

/// Changes the television, sends calls to its server, and computes from the replies what the television must contain.
class Run {
public:
    explicit Run(Bytes& from) : bytes(from), fakeBus(from) {
        for (char const* const key : KEYS) {
            readContent(key);
        }
    }

    void run() {
        while (bytes.isLeft() && fakeBus.calls.size() < 300) {
            bytes.runOneOf([&] { call(); }, [&] { call(); }, [&] { call(); }, [&] { changeModel(); },
                           [&] { changeFaults(); },
                           [&] {
                               if (fakeBus.hasPendingCredentialsRequests()) {
                                   fakeBus.replyToCredentialsRequest(bytes.number(0, 3) != 0);
                               }
                           },
                           [&] { leave(bytes.pick(CLIENTS)); });
            check();
        }
        while (fakeBus.hasPendingCredentialsRequests()) {
            fakeBus.replyToCredentialsRequest(true);
            check();
        }
        for (auto const& [number, made] : fakeBus.calls) {
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
                                bytes.makeList(bytes.indexBelow(4), [&] { return bytes.number<int>(); }),
                                bytes.makeList(bytes.indexBelow(4), text)};
        return bytes.pick(values);
    }

    void call() {
        Method const& method = bytes.pick(METHODS);
        std::string const key = bytes.pick(KEYS);
        MessageItem arguments = makeMutatedArguments(bytes, method.signature);
        std::string path = bus::pathOf(key);
        std::string iterator = path;
        if (!iterators.empty()) {
            iterator = std::next(iterators.begin(), bytes.number<std::ptrdiff_t>(0, std::ssize(iterators) - 1))->first;
        }
        if (bytes.number(0, 7) != 0) {  // Most calls go to an object that has the method's interface.
            path = method.interface == bus::ITERATOR_INTERFACE ? iterator
                   : method.interface == bus::OBJECT_MANAGER_INTERFACE || method.interface == bus::MODEL_INTERFACE
                       ? bus::MODEL_PATH
                       : path;
            bool const isProperty = method.interface == bus::PROPERTIES_INTERFACE && !arguments.items.empty();
            if (auto const content = contents.find(key); isProperty && content != contents.end()) {
                arguments.items.resize(typesOf(method.signature).size(), MessageItem{"s"});
                arguments.items[0] = {"s", 0, interfaces.at(content->second.type)};
                arguments.items[1 % arguments.items.size()].text =
                    arguments.items.size() > 1 ? "Value" : arguments.items[0].text;
                if (method.name == SET.name) {
                    arguments.items[2] = {"v", 0, "", {makeItem(bytes, content->second.type)}};
                }
                makeConsistent(arguments);
            } else if (method.name == CREATE_ITERATOR.name || method.name == INVOKE.name) {
                path = bus::pathOf(method.name == INVOKE.name ? "a" : bytes.nextBool() ? "t" : "u");
                arguments = makeItem(bytes, '(' + std::string(method.signature) + ')');
                makeConsistent(arguments);
            } else if (method.name == DESTROY_ITERATOR.name) {
                arguments.items = {{"o", 0, iterator}};
                path = iterators.contains(iterator) ? bus::pathOf(iterators.at(iterator).second) : path;
            }
        } else if (bytes.nextBool()) {
            path = bytes.text(30);
        }
        fakeBus.send(method, path, bytes.pick(CLIENTS), arguments);
        fakeBus.waitUntilCallsReceived();
        if (fakeBus.hasPendingCredentialsRequests() && bytes.number(0, 3) != 0) {
            fakeBus.replyToCredentialsRequest(true);
        }
    }

    void changeModel() {
        std::string const key = bytes.pick(KEYS);
        bytes.runOneOf([&] { fakeBus.tv.set(key, makeValue()); },
                       [&] {
                           fakeBus.tv.setRows(key, {Strings(2), {"a"}});
                       },
                       [&] { replace(key, [&] { fakeBus.tv.publish(key, makeValue()); }); },
                       [&] { replace(key, [&] { fakeBus.tv.publishTable(key, {{"a"}}); }); },
                       [&] { replace(key, [&] { fakeBus.publishAction(key); }); },
                       [&] { replace(key, [&] { fakeBus.tv.withdraw(key); }); });
        readContent(key);
    }
    template <typename Change>
    void replace(std::string const& key, Change const& change) {
        bool const was = fakeBus.tv.type(key).has_value();
        change();
        bool const isReplaced = was || fakeBus.tv.type(key);
        std::erase_if(iterators, [&](auto const& each) { return isReplaced && each.second.second == key; });
    }

    void changeFaults() {
        constexpr simulator::Call THROWN[] = {simulator::Call::none,           simulator::Call::read,
                                              simulator::Call::write,          simulator::Call::invoke,
                                              simulator::Call::createIterator, simulator::Call::destroyIterator};
        std::string const key = bytes.pick(KEYS);
        int const status = bytes.number(0, 1);
        bytes.runOneOf([&] { fakeBus.tv.throwFrom(key, bytes.pick(THROWN)); },
                       [&] { fakeBus.tv.failReads(key, {status}); }, [&] { fakeBus.tv.failInvokes(key, status); },
                       [&] { fakeBus.tv.failDestroys(key, status); },
                       [&] { fakeBus.tv.refuseIterators(key, status != 0); });
    }

    void leave(std::string const& client) {
        bool const isTrue = bytes.nextBool();
        fakeBus.sendClientLeft(client.c_str(), isTrue ? bus::BUS_NAME : bytes.pick(CLIENTS));
        if (isTrue) {
            std::erase_if(iterators, [&](auto const& each) { return each.second.first == client; });
            for (auto& [number, made] : fakeBus.calls) {
                made.isReplyDue = made.isReplyDue && made.sender != client;
            }
        }
    }

    void readContent(std::string const& key) {
        contents.erase(key);
        if (auto const value = fakeBus.tv.get(key)) {
            contents[key] = std::visit([](auto const& typed) { return itemOf(typed); }, *value);
        }
    }

    /// Applies the received replies to the expected content, and compares the television with the expected content.
    void check() {
        fakeBus.waitUntilCallsReceived();
        for (auto& [number, made] : fakeBus.calls) {
            if (made.replies == 1 && !std::exchange(made.isReplyProcessed, true) && !made.isErrorReply) {
                apply(made);
            }
        }
        expect(fakeBus.invocations == invocations, "an action is invoked once for each call");
        for (auto const& [key, item] : std::map(contents)) {
            readContent(key);
            expect(contents[key] == item, "the model has what was written");
        }
        char const* xml = nullptr;
        sd_bus_message_read_basic(fakeBus.callFromHarness(INTROSPECT, bus::ITERATOR_PATH).reply.get(), 's', &xml);
        std::set<std::string> served;
        std::regex const node("<node name=\"([^\"]+)\"");
        for (std::cregex_iterator each(xml, xml + std::strlen(xml), node); each != std::cregex_iterator(); ++each) {
            served.insert(bus::ITERATOR_PATH + ('/' + (*each)[1].str()));
        }
        expect(std::ranges::equal(served, iterators, {}, {}, [](auto const& each) { return each.first; }),
               "the iterators are those that clients made and did not destroy");
    }

    void apply(SentCall const& made) {
        auto const client = std::ranges::find(CLIENTS, made.sender);
        if (client == std::end(CLIENTS)) {
            return;
        }
        Access const access = RIGHTS[client - CLIENTS];
        bool const isWriting = made.method.name == SET.name || made.method.name == INVOKE.name;
        expect(!fakeBus.hasValidCredentials[made.sender] || access == Access::ALL ||
                   (access == Access::READ && !isWriting),
               "nobody does more than is permitted");
        std::string const key = bus::keyOf(made.path).value_or("");
        char const* path = nullptr;
        if (made.method.name == SET.name) {
            contents[key] = made.arguments.items.at(2).items.at(0);
        } else if (made.method.name == INVOKE.name) {
            ++invocations;
        } else if (made.method.name == CREATE_ITERATOR.name && made.isReplyDue) {
            expect(sd_bus_message_read_basic(made.reply.get(), 'o', &path) > 0, "an iterator has a path");
            iterators[path] = {made.sender, key};
        } else if (made.method.name == DESTROY_ITERATOR.name) {
            auto const found = iterators.find(made.arguments.items.at(0).text);
            expect(found == iterators.end() || found->second == std::pair(made.sender, key),
                   "an iterator is its client's");
            iterators.erase(made.arguments.items.at(0).text);
        }
    }

    Bytes& bytes;
    FakeBus fakeBus;
    std::map<std::string, std::string> const interfaces{
#define FUZZ_INTERFACE(T, OBJECT, OBSERVER, NOTIFICATION, TYPE, NAME, INTERFACE, SIGNATURE) {SIGNATURE, INTERFACE},
        NRX_PLAIN_KINDS(FUZZ_INTERFACE)
#undef FUZZ_INTERFACE
    };
    int invocations = 0;
    std::map<std::string, MessageItem> contents;                           ///< By key: the plain value.
    std::map<std::string, std::pair<std::string, std::string>> iterators;  ///< By path: the client and the table's key.
};

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static int const isBlocked = [] {  // The server's loop receives these signals only if they are blocked.
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
