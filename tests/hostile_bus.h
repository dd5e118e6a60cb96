#pragma once

#include <gmock/gmock.h>

#include "bus/bus_platform.h"
#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "television/log.h"
#include "television_clients.h"

/// A fake television and its clients in one process. A test sets the television's replies and signals. The program runs
/// on a private bus that carries no message of more than a million bytes.
namespace test {

inline constexpr char LIST_PATH[] = "/nrx/Television1/model/l";
inline constexpr char ACTION_PATH[] = "/nrx/Television1/model/a";
inline constexpr char TABLE_PATH[] = "/nrx/Television1/model/r";
inline constexpr char ITERATOR_PATH[] = "/nrx/Television1/iterator/1";
inline constexpr char PROPERTIES_CHANGED[] = "PropertiesChanged";
inline constexpr char INTERFACES_REMOVED[] = "InterfacesRemoved";
inline constexpr char SYNC_METHOD[] = "Sync";
inline constexpr auto& LIST_INTERFACE = television::PlainKindTraits<Strings>::INTERFACE;
inline constexpr auto& PROPERTIES_INTERFACE = bus::PROPERTIES_INTERFACE;
inline constexpr auto& OBJECT_MANAGER_INTERFACE = bus::OBJECT_MANAGER_INTERFACE;

/// Appends a body of any D-Bus types to a message.
using Body = std::function<int(sd_bus_message* message)>;
template <typename... Values>
Body makeBody(char const* types, Values... values) {
    return [=](sd_bus_message* message) { return sd_bus_message_append(message, types, values...); };
}

/// A function that answers a call: replies with a body, with an error or with the value of a list, or does not reply.
using Answer = std::function<int(sd_bus_message* call)>;
template <typename... Values>
Answer replyWith(char const* types, Values... values) {
    return [=](sd_bus_message* call) { return sd_bus_reply_method_return(call, types, values...); };
}
inline Answer replyWithError(char const* error, char const* text) {
    return [=](sd_bus_message* call) {
        sd_bus_error const answer{error, text, 0};
        return sd_bus_reply_method_error(call, &answer);
    };
}
inline Answer replyWithList(Strings const& list) {
    return [list](sd_bus_message* call) {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_return(call, &made);
        bus::Message const reply(made);
        return bus::appendVariant(made, "as", list) < 0 ? -1 : sd_bus_send(nullptr, made, nullptr);
    };
}
inline int withholdReply(sd_bus_message* /*call*/) { return 1; }

/// A signal, and the records of the observers that receive the signal.
struct Signal {
    char const* path;
    char const* interface;
    char const* name;
    Body body;
    Strings recordsIfReceived{};
};
inline Signal const VALID_SIGNALS[] = {
    {LIST_PATH,
     PROPERTIES_INTERFACE,
     PROPERTIES_CHANGED,
     makeBody("sa{sv}as", LIST_INTERFACE, 1, "Value", "as", 2, "x", "y", 0),
     {"x", "y"}},
    {ACTION_PATH, bus::ACTION_INTERFACE, "ExecutionError", makeBody("ui", 2, 5), {"2 error 5 "}},
    {TABLE_PATH, bus::TABLE_INTERFACE, "Updated", makeBody("i", 7), {"update 7 "}},
    {ITERATOR_PATH, bus::ITERATOR_INTERFACE, "TotalCount", makeBody("i", 3), {"count 3 "}},
};

struct Clients {
    TableIterator* createIterator() { return makeIterator(table, &iteratorObserver); }

    Client<int> number{"n"};
    Client<Strings> list{"l"};
    Client<ObjectAction> action{"a"};
    Client<ObjectTable> table{"r"};
    IteratorObserver iteratorObserver;
    TableIterator* iterator = createIterator();
};

// Each of the next functions returns the status of a client's operation. A failed operation changes no result variable.
inline int connectAndDisconnect(std::string const& key, Observer* observer = nullptr) {
    Object* object = nullptr;
    int const status = root().connectObject(key, observer, object);
    EXPECT_EQ(object != nullptr, status == 0);
    return status != 0 ? status : root().disconnectObject(key, observer, object);
}
inline int invoke(Clients& clients) {
    unsigned int id = 5;
    int const status = clients.action->invoke(id, {{1, 2, 3, std::string(100, 'x')}});
    EXPECT_EQ(id, status == 0 ? 1 : 5);
    return status;
}
inline int listObjectsOfBus(Clients& /*clients*/) {
    std::map<std::string, ObjectTypeSpec> objects{{"kept", OBJECT_TYPE_NONE}};
    int const status = bus::listObjects(objects);
    EXPECT_EQ(objects.size(), status == 0 ? 0 : 1);
    return status;
}
inline int syncWithTelevision(Clients& /*clients*/) { return bus::waitUntilDelivered(); }

class HostileBus : public ::testing::Test {
public:
    void SetUp() override {
        television::setLogSink([this](int /*severity*/, std::string const& line) {
            EXPECT_EQ(root().disconnectObject("l", nullptr, nullptr), 0);  // The platform logs while it holds no mutex.
            log.record(line);
        });
        for (auto const& [key, type] : {std::pair("n", 1), {"l", 4}, {"a", 5}, {"r", 6}, {"x", 2}, {"y", 1}}) {
            answersByMethod[key + " Type"s] = replyWith("v", "i", type);
        }
        startTelevision();
        serveDuring([this] { clients = std::make_unique<Clients>(); });
        answersByMethod["CreateIterator"] = replyWith("o", "/nrx/Television1/iterator/2");
        received();
    }
    /// Expects that the clients receive valid signals after the test.
    void TearDown() override {
        for (Signal const& signal : VALID_SIGNALS) {
            send(signal);
            EXPECT_EQ(received(), signal.recordsIfReceived);
        }
        EXPECT_EQ(clients->table->destroyIterator(clients->iterator) + clients->number.disconnect(), 0);
        EXPECT_EQ(clients->list.disconnect() + clients->action.disconnect() + clients->table.disconnect(), 0);
        television::setLogSink({});
    }

    /// Starts a television, which replaces an earlier one.
    void startTelevision() {
        ASSERT_GE(bus::startBusConnection(fakeTelevisionBus, bus::findBusAddressInEnvironment()), 0);
        ASSERT_GE(sd_bus_add_filter(fakeTelevisionBus.get(), nullptr, handleMessage, this), 0);
        ASSERT_GE(sd_bus_request_name(fakeTelevisionBus.get(), bus::SERVICE, 0), 0);
        serveUntilDone(bus::waitUntilDelivered);
    }
    /// Starts a television and makes the clients' iterator again.
    void replaceTelevision() {
        startTelevision();
        EXPECT_EQ(clients->table->destroyIterator(clients->iterator), 0);
        clients->iterator->commit();  // A destroyed iterator sends no call.
        Answer const right = std::exchange(answersByMethod["CreateIterator"], replyWith("o", ITERATOR_PATH));
        serveUntilDone([this] { return (clients->iterator = clients->createIterator()) == nullptr; });
        answersByMethod["CreateIterator"] = right;
    }
    void send(Signal const& signal) const {
        send(signal, fakeTelevisionBus.get(), signal.path == ITERATOR_PATH ? clientName.c_str() : nullptr);
    }
    static void send(Signal const& signal, sd_bus* bus, char const* destination) {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_signal(bus, &made, signal.path, signal.interface, signal.name);
        bus::Message const message(made);
        EXPECT_GE(signal.body(made), 0) << signal.name;
        EXPECT_GE(sd_bus_send_to(bus, made, destination, nullptr), 0) << signal.name;
    }

    /// Serves calls while another thread runs a client's operation, and returns the operation's result.
    template <typename Operation>
    std::invoke_result_t<Operation> serveDuring(Operation operation) const {
        auto result = std::async(std::launch::async, operation);
        while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            while (sd_bus_process(fakeTelevisionBus.get(), nullptr) > 0) {
            }
            sd_bus_wait(fakeTelevisionBus.get(), 1000);
        }
        return result.get();
    }
    /// Repeats the operation until the operation returns 0. Only the test's timeout limits the repetitions.
    void serveUntilDone(std::function<int()> const& operation) const {
        while (serveDuring(operation) != 0) {
        }
    }
    /// Repeats an operation that times out unexpectedly, because a busy machine may need longer than one attempt.
    int serveRetryingTimeouts(std::function<int()> const& operation, int expectedStatus) {
        int status = serveDuring(operation);
        for (int tries = 0; status == 122 && expectedStatus != 122 && tries < 100; ++tries) {
            received();
            status = serveDuring(operation);
        }
        return status;
    }
    static int handleMessage(sd_bus_message* call, void* test, sd_bus_error* /*error*/) {
        auto& self = *static_cast<HostileBus*>(test);
        if (sd_bus_message_is_method_call(call, nullptr, nullptr) <= 0) {
            return 0;
        }
        self.clientName = sd_bus_message_get_sender(call);
        std::string method = sd_bus_message_get_member(call);
        char const* property = nullptr;
        if (Strings value; method == "Get" && sd_bus_message_read(call, "ss", nullptr, &property) > 0) {
            method = bus::keyOf(sd_bus_message_get_path(call)).value_or("none") + ' ' + property;
        } else if (method == "Set" && sd_bus_message_skip(call, "ss") > 0 && bus::readVariant(call, "as", value) >= 0) {
            self.answersByMethod["l Value"] = replyWithList(value);
        }
        auto const found = self.answersByMethod.find(method);
        int const result = found != self.answersByMethod.end() ? found->second(call)
                                                               : replyWithError(SD_BUS_ERROR_UNKNOWN_OBJECT, "")(call);
        EXPECT_TRUE(result >= 0 || sd_bus_is_open(self.fakeTelevisionBus.get()) <= 0) << method;
        return 1;
    }

    /// Waits for all notifications. Returns the log lines and the observers' records since the last call.
    Strings received() {
        EXPECT_EQ(serveDuring(bus::waitUntilDelivered), 0);
        Strings all = log.take();
        std::vector<Strings> lists = clients->list.take();
        lists.insert(lists.end(), {clients->action.take(), clients->table.take(), clients->iteratorObserver.take()});
        for (Strings const& lines : lists) {
            all.insert(all.end(), lines.begin(), lines.end());
        }
        return all;
    }

    std::map<std::string, Answer> answersByMethod{
        {"n Value", replyWith("v", "i", 7)},
        {"l Value", replyWith("v", "as", 0)},
        {"Invoke", replyWith("u", 1)},
        {"CreateIterator", replyWith("o", ITERATOR_PATH)},
        {"x Value", replyWith("v", "s", "")},
        {"y Value", replyWith("v", "i", 7)},
        {"Set", replyWith("")},
        {"Commit", [](sd_bus_message* /*call*/) { return -ENOTSUP; }},
        {SYNC_METHOD, replyWith("")},
        {"GetManagedObjects", replyWith("a{oa{sa{sv}}}", 0)},
    };
    bus::Bus fakeTelevisionBus;
    std::string clientName;
    Recorder<std::string> log;
    std::unique_ptr<Clients> clients;
};

}  // namespace test
