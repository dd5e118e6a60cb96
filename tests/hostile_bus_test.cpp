// What nobody agreed on, answered by a television or sent by a stranger: it does no harm, and what comes after it is
// heard. Runs on a bus of its own that carries no message of more than a million bytes.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bus/bus_platform.h"
#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "television/log.h"
#include "television_clients.h"

namespace {

std::atomic<bool> isWithoutMemory = false;

}  // namespace

/// Stands before libsystemd's, also for the platform library.
extern "C" __attribute__((visibility("default"))) int sd_bus_message_new_method_call(
    sd_bus* bus, sd_bus_message** message, char const* destination, char const* path, char const* interface,
    char const* member) {
    static auto const make = reinterpret_cast<decltype(&sd_bus_message_new_method_call)>(::dlsym(RTLD_NEXT, __func__));
    return isWithoutMemory ? -ENOMEM : make(bus, message, destination, path, interface, member);
}

namespace test {
namespace {

using Content = std::function<int(sd_bus_message* message)>;

constexpr char LIST[] = "/nrx/Television1/model/l";
constexpr char ACTION[] = "/nrx/Television1/model/a";
constexpr char ITERATOR[] = "/nrx/Television1/iterator/1";
constexpr char NOTHING[] = "/nrx/Television1/model/nothing";
constexpr char CHANGE[] = "PropertiesChanged";
constexpr char GONE[] = "InterfacesRemoved";
constexpr auto& MODEL = bus::MODEL_PATH;
constexpr auto& OBJECT = bus::OBJECT_INTERFACE;
constexpr auto& LISTS = television::PlainKind<Strings>::INTERFACE;
constexpr auto& PROPERTIES = bus::PROPERTIES_INTERFACE;
constexpr auto& MANAGER = bus::MANAGER_INTERFACE;

/// What a message holds, whatever was agreed on.
template <typename... Values>
Content with(char const* types, Values... values) {
    return [=](sd_bus_message* message) { return sd_bus_message_append(message, types, values...); };
}

/// Answers a call: with something, with an error, with a list, or never.
using Answer = std::function<int(sd_bus_message* call)>;
template <typename... Values>
Answer says(char const* types, Values... values) {
    return [=](sd_bus_message* call) { return sd_bus_reply_method_return(call, types, values...); };
}
Answer fails(char const* error, char const* text) {
    return [=](sd_bus_message* call) {
        sd_bus_error const answer{error, text, 0};
        return sd_bus_reply_method_error(call, &answer);
    };
}
Answer lists(Strings const& list) {
    return [list](sd_bus_message* call) {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_return(call, &made);
        bus::Message const reply(made);
        return bus::appendVariant(made, "as", list) < 0 ? -1 : sd_bus_send(nullptr, made, nullptr);
    };
}
int never(sd_bus_message* /*call*/) { return 1; }

/// A signal, and what is heard of it.
struct Signal {
    char const* path;
    char const* interface;
    char const* name;
    Content content;
    Strings heard{};

    void send(sd_bus* bus, std::string const& receiver) const {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_signal(bus, &made, path, interface, name);
        bus::Message const message(made);
        EXPECT_GE(content(made), 0) << name;
        EXPECT_GE(sd_bus_send_to(bus, made, receiver.empty() ? nullptr : receiver.c_str(), nullptr), 0) << name;
    }
};
Signal const RIGHT[] = {
    {LIST, PROPERTIES, CHANGE, with("sa{sv}as", LISTS, 1, "Value", "as", 2, "x", "y", 0), {"x", "y"}},
    {ACTION, bus::ACTION_INTERFACE, "ExecutionError", with("ui", 2, 5), {"2 error 5 "}},
    {"/nrx/Television1/model/r", bus::TABLE_INTERFACE, "Updated", with("i", 7), {"update 7 "}},
    {ITERATOR, bus::ITERATOR_INTERFACE, "TotalCount", with("i", 3), {"count 3 "}},
};

/// Who is connected.
struct Everybody {
    Client<int> number{"n"};
    Client<Strings> list{"l"};
    Client<ObjectAction> action{"a"};
    Client<ObjectTable> table{"r"};
    Ear<TableIterator> ear;
    TableIterator* iterator = iterate();

    TableIterator* iterate() { return table->createIterator({}, &ear, {}, {}, {}); }
};

class HostileBus : public ::testing::Test {
public:
    void SetUp() override {
        television::setLogSink([this](int /*severity*/, std::string const& line) {
            EXPECT_EQ(root().disconnectObject("l", nullptr, nullptr), 0);  // No lock is held.
            log.keep(line);
        });
        turnOn();
        serve([this] { return (all = std::make_unique<Everybody>())->number.status; });
        answers["CreateIterator"] = says("o", "/nrx/Television1/iterator/2");
        heardNow();
    }
    /// After all that, what is right is heard.
    void TearDown() override {
        for (Signal const& signal : RIGHT) {
            signal.send(television.get(), signal.path == ITERATOR ? client : "");
            EXPECT_EQ(heardNow(), signal.heard);
        }
        EXPECT_EQ(all->table->destroyIterator(all->iterator), 0);
        EXPECT_EQ(all->number.end() + all->list.end() + all->action.end() + all->table.end(), 0);
        television::setLogSink({});
    }

    /// Has a television, in the place of another one.
    void turnOn() {
        ASSERT_GE(bus::openBus(television, bus::addressFromEnvironment()), 0);
        ASSERT_GE(sd_bus_add_filter(television.get(), nullptr, onCall, this), 0);
        ASSERT_GE(sd_bus_request_name(television.get(), bus::SERVICE, 0), 0);
        untilDone(bus::waitUntilDelivered);
    }
    /// The same, with an iterator of its own.
    void turnOnAgain() {
        turnOn();
        EXPECT_EQ(all->table->destroyIterator(all->iterator), 0);
        Answer const right = std::exchange(answers["CreateIterator"], says("o", ITERATOR));
        untilDone([this] { return (all->iterator = all->iterate()) == nullptr; });
        answers["CreateIterator"] = right;
    }
    /// Is the television while a client does something, and returns what that returns.
    int serve(std::function<int()> const& operation) const {
        auto status = std::async(std::launch::async, operation);
        while (status.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            while (sd_bus_process(television.get(), nullptr) > 0) {
            }
            sd_bus_wait(television.get(), 1000);
        }
        return status.get();
    }
    /// Repeats it until it returns 0, for as long as the tests may run.
    void untilDone(std::function<int()> const& operation) const {
        while (serve(operation) != 0) {
        }
    }
    /// The same for what must return something else than that no answer came: a busy machine may need more than the
    /// short time that an attempt has.
    int serve(std::function<int()> const& operation, int expected) {
        int status = serve(operation);
        for (int tries = 0; status == 122 && expected != 122 && tries < 100; ++tries) {
            heardNow();
            status = serve(operation);
        }
        return status;
    }
    static int onCall(sd_bus_message* call, void* test, sd_bus_error* /*error*/) {
        auto& self = *static_cast<HostileBus*>(test);
        if (sd_bus_message_is_method_call(call, nullptr, nullptr) <= 0) {
            return 0;
        }
        self.client = sd_bus_message_get_sender(call);
        std::string method = sd_bus_message_get_member(call);
        char const* property = nullptr;
        if (Strings value; method == "Get" && sd_bus_message_read(call, "ss", nullptr, &property) > 0) {
            method = bus::keyOf(sd_bus_message_get_path(call)).value_or("none") + ' ' + property;
        } else if (method == "Set" && sd_bus_message_skip(call, "ss") > 0 && bus::readVariant(call, "as", value) >= 0) {
            self.answers["l Value"] = lists(value);
        }
        auto const found = self.answers.find(method);
        int const result = (found != self.answers.end() ? found->second : fails(SD_BUS_ERROR_UNKNOWN_OBJECT, ""))(call);
        EXPECT_TRUE(result >= 0 || sd_bus_is_open(self.television.get()) <= 0) << method;
        return 1;
    }

    /// What the log and the observers have heard since the last call, once all has come.
    Strings heardNow() {
        EXPECT_EQ(serve(bus::waitUntilDelivered), 0);
        Strings heard = log.take();
        std::vector<Strings> told = all->list.ear.take();
        told.insert(told.end(), {all->action.ear.take(), all->table.ear.take(), all->ear.take()});
        for (Strings const& lines : told) {
            heard.insert(heard.end(), lines.begin(), lines.end());
        }
        return heard;
    }

    std::map<std::string, Answer> answers{
        {"n Type", says("v", "i", 1)},
        {"n Value", says("v", "i", 7)},
        {"l Type", says("v", "i", 4)},
        {"l Value", says("v", "as", 0)},
        {"a Type", says("v", "i", 5)},
        {"Invoke", says("u", 1)},
        {"r Type", says("v", "i", 6)},
        {"CreateIterator", says("o", ITERATOR)},
        {"x Type", says("v", "i", 2)},
        {"x Value", says("v", "s", "")},
        {"y Type", says("v", "i", 1)},
        {"y Value", says("v", "i", 7)},
        {"Set", says("")},
        {"Sync", says("")},
        {"GetManagedObjects", says("a{oa{sa{sv}}}", 0)},
    };
    bus::Bus television;
    std::string client;
    Record<std::string> log;
    std::unique_ptr<Everybody> all;
};

int reach(std::string const& key) {
    Object* object = nullptr;
    int const status = root().connectObject(key, nullptr, object);
    EXPECT_EQ(object != nullptr, status == 0);
    return status != 0 ? status : root().disconnectObject(key, nullptr, object);
}

/// A method, and an operation that calls it, which returns its status. One that fails leaves alone what the caller has.
struct Operation {
    char const* method;
    int (*perform)(Everybody& all);
};
constexpr Operation CONNECT{"x Type", [](auto& /*all*/) { return reach("x"); }};
constexpr Operation CONNECT_NUMBER{"y Value", [](auto& /*all*/) { return reach("y"); }};
constexpr Operation READ{"l Value", [](auto& all) {
                             Strings list{"kept"};
                             int const status = all.list.read(list);
                             EXPECT_EQ(list == Strings{"kept"}, status != 0);
                             return status;
                         }};
constexpr Operation READ_NUMBER{"n Value", [](auto& all) { return all.number.read() - 7; }};  // Or the last.
constexpr Operation WRITE{"Set", [](auto& all) { return all.list.write({"new"}); }};
constexpr Operation INVOKE{"Invoke", [](auto& all) {
                               unsigned int id = 5;
                               int const status = all.action->invoke(id, {});
                               EXPECT_EQ(id, status == 0 ? 1 : 5);
                               return status;
                           }};
constexpr Operation ITERATE{"CreateIterator", [](auto& all) {
                                TableIterator* const made = all.iterate();
                                return made != nullptr ? all.table->destroyIterator(made) : -1;
                            }};
constexpr Operation LIST_ALL{"GetManagedObjects", [](auto& /*all*/) {
                                 std::map<std::string, ObjectTypeSpec> objects{{"kept", OBJECT_TYPE_NONE}};
                                 int const status = bus::listObjects(objects);
                                 EXPECT_EQ(objects.size(), status == 0 ? 0 : 1);
                                 return status;
                             }};
constexpr Operation SETTLE{"Sync", [](auto& /*all*/) { return bus::waitUntilDelivered(); }};

TEST_F(HostileBus, AnAnswerThatIsWrongIsAStatus) {
    struct Row {
        Operation operation;
        int status;
        std::vector<Answer> answers;
    };
    constexpr char ALL[] = "a{oa{sa{sv}}}";
    Answer const unknown = fails(SD_BUS_ERROR_UNKNOWN_PROPERTY, "");
    std::vector<Row> rows{
        {CONNECT, 124, {says(""), says("v", "s", "2"), says("v", "i", 1)}},  // The last would have a number.
        {CONNECT, 0, {says("v", "i", 99), says("v", "i", -1)}},              // Objects that nobody serves.
        {CONNECT, 104, {unknown}},
        {CONNECT_NUMBER, 124, {says("v", "x", 7LL)}},
        {CONNECT_NUMBER, 104, {unknown}},
        {READ, 124, {says("v", "s", "x"), says("v", "aas", 1, 1, "x")}},
        {READ, 106, {unknown}},
        {READ_NUMBER, 0, {says("v", "s", "x"), unknown, never}},
        {WRITE, 0, {says("s", "x")}},  // No answer was agreed on, and none is read.
        {INVOKE, 124, {says("i", 5)}},
        {ITERATE, -1, {says(""), never, says("o", LIST), says("o", MODEL)}},  // Others hear from there.
        {ITERATE, 109, {fails(bus::STATUS_ERROR, "109")}},
        {LIST_ALL, 124, {says(""), says("s", "x"), says("a{sa{sa{sv}}}", 1, LIST, 0)}},
        {LIST_ALL, 124, {says("a{os}", 1, LIST, ""), says(ALL, 1, LIST, 1, OBJECT, 1, "Type", "s", "2")}},
        {LIST_ALL, 0, {says(ALL, 1, LIST, 1, LISTS, 1, "Type", "i", 2)}},
        {LIST_ALL, 0, {says(ALL, 1, "/elsewhere", 1, OBJECT, 1, "Type", "i", 2)}},
        {SETTLE, 0, {says("s", "x")}},
    };
    for (Operation const& operation : {CONNECT, READ, WRITE, INVOKE}) {
        int const missing = operation.method == CONNECT.method ? 104 : 106;
        rows.push_back({operation, -4, {fails(bus::STATUS_ERROR, "-4")}});
        rows.push_back({operation, 124, {fails(bus::STATUS_ERROR, nullptr), fails(SD_BUS_ERROR_FAILED, "4")}});
        rows.push_back(
            {operation, 110, {fails(SD_BUS_ERROR_ACCESS_DENIED, "4"), fails(SD_BUS_ERROR_LIMITS_EXCEEDED, "")}});
        rows.push_back({operation, missing, {fails(SD_BUS_ERROR_UNKNOWN_OBJECT, "")}});
    }
    for (Operation const& operation : {CONNECT, READ, WRITE, INVOKE, LIST_ALL, SETTLE}) {
        rows.push_back({operation, 122, {never}});
    }
    for (auto const& [operation, status, wrong] : rows) {
        for (Answer const& answer : wrong) {
            SCOPED_TRACE(operation.method + (" " + std::to_string(&answer - wrong.data())));
            auto const perform = [this, &operation = operation] { return operation.perform(*all); };
            Answer const right = std::exchange(answers[operation.method], answer);
            bool const isIterator = operation.method == ITERATE.method;
            EXPECT_EQ(serve(perform, isIterator ? -1 : status), isIterator ? -1 : status);
            answers[operation.method] = right;
            std::string const what = isIterator ? "r: createIterator" : "l: write";
            std::string const line = "ERROR [BUS] " + what + " failed, status " + std::to_string(status) + ": ";
            bool const isLogged = (operation.method == WRITE.method && status != 0) || status == 109;
            EXPECT_THAT(heardNow(),
                        ::testing::ElementsAreArray(std::vector(isLogged ? 1 : 0, ::testing::StartsWith(line))));
            EXPECT_EQ(serve(perform, 0), 0);
        }
    }
}

TEST_F(HostileBus, WithoutMemoryNothingIsSent) {
    for (Operation const& operation : {CONNECT, READ, WRITE, INVOKE}) {
        isWithoutMemory = true;
        EXPECT_EQ(operation.perform(*all), 125) << operation.method;
        isWithoutMemory = false;
        EXPECT_EQ(serve([&] { return operation.perform(*all); }, 0), 0) << operation.method;
    }
    heardNow();
}

TEST_F(HostileBus, ASignalOrASenderThatIsWrongIsNotHeard) {
    bus::Bus stranger;
    ASSERT_GE(bus::openBus(stranger, bus::addressFromEnvironment()), 0);
    char const* name = nullptr;
    ASSERT_GE(sd_bus_get_unique_name(stranger.get(), &name), 0);
    constexpr char BUS[] = "org.freedesktop.DBus";
    std::vector<Signal> signals(std::begin(RIGHT), std::end(RIGHT));
    signals.push_back({MODEL, MANAGER, GONE, with("oas", LIST, 1, OBJECT)});
    signals.push_back({"/org/freedesktop/DBus", BUS, "NameOwnerChanged", with("sss", bus::SERVICE, "", name)});
    for (Signal const& signal : signals) {
        signal.send(stranger.get(), "");
        signal.send(stranger.get(), client);
        // Then the bus has passed on what was sent before.
        EXPECT_GE(sd_bus_call_method(stranger.get(), BUS, "/", BUS, "GetId", nullptr, nullptr, nullptr), 0);
        EXPECT_EQ(heardNow(), Strings{}) << signal.name;
    }
    for (Content const& content :
         {with(""), with("s", LIST), with("o", LIST), with("os", LIST, OBJECT), with("sas", LIST, 1, OBJECT),
          with("oas", LIST, 1, LISTS), with("oas", "/elsewhere", 1, OBJECT), with("oas", NOTHING, 1, OBJECT)}) {
        for (Signal const& signal : {Signal{MODEL, MANAGER, GONE, content},
                                     {MODEL, MANAGER, "InterfacesAdded", content},
                                     {NOTHING, PROPERTIES, CHANGE, content},
                                     {LIST, MANAGER, GONE, with("oas", LIST, 1, OBJECT)}}) {
            signal.send(television.get(), "");
        }
    }
    EXPECT_EQ(heardNow(), Strings{});
    for (auto const& [what, signal] : std::initializer_list<std::pair<std::string, Signal>>{
             {"l", {LIST, PROPERTIES, CHANGE, with("sa{sv}as", LISTS, 1, "Value", "s", "x", 0)}},
             {"l", {LIST, PROPERTIES, CHANGE, with("sa{sv}as", LISTS, 1, "Other", "s", "x", 1, "Value")}},
             {"l", {LIST, PROPERTIES, CHANGE, with("s", LISTS)}},
             {"a", {ACTION, bus::ACTION_INTERFACE, "ExecutionError", with("us", 2, "x")}},
             {"r", {RIGHT[2].path, bus::TABLE_INTERFACE, "Updated", with("s", "x")}},
             {ITERATOR, {ITERATOR, bus::ITERATOR_INTERFACE, "RowRead", with("s", "x")}}}) {
        signal.send(television.get(), signal.path == ITERATOR ? client : "");
        EXPECT_EQ(heardNow(),
                  Strings{"ERROR [BUS] " + what + ": notify failed, status 124: the message violates the interface"});
    }
}

TEST_F(HostileBus, AnAnswerOnItsWayIsReadWhileANotificationRuns) {
    std::promise<int> status;
    all->list.ear.then = [&] { EXPECT_EQ(await(status.get_future()), 0); };
    Answer const right = std::exchange(answers["n Value"], [&](sd_bus_message* call) {
        RIGHT[0].send(television.get(), "");
        return says("v", "i", 8)(call);
    });
    serve([&] {
        int const read = all->number.read();
        status.set_value(read - 8);
        return 0;
    });
    EXPECT_EQ(heardNow(), RIGHT[0].heard);
    all->list.ear.then = [] {};
    answers["n Value"] = right;
}

/// Keeps the calls of a method until they are answered.
struct HeldCalls {
    Answer hold() {
        return [this](sd_bus_message* call) {
            calls.emplace_back(sd_bus_message_ref(call));
            most = std::max(most, calls.size());
            return 1;
        };
    }
    void answer(Answer const& answer) {
        for (bus::Message const& call : std::exchange(calls, {})) {
            EXPECT_GE(answer(call.get()), 0);
        }
    }

    std::vector<bus::Message> calls{};
    std::size_t most = 0;
};

TEST_F(HostileBus, AConnectTakesTheAnswerToAnEarlierAttempt) {
    HeldCalls held;
    Answer const right = std::exchange(answers["x Type"], held.hold());
    Ear<std::string> ear;
    Object* object = nullptr;
    auto const attempt = [&] { return root().connectObject("x", &ear, object); };
    for (int attempts = 0; attempts < 5; ++attempts) {
        EXPECT_EQ(serve(attempt), 122);
    }
    EXPECT_LT(held.calls.size(), 5U);
    held.answer(right);
    Signal const change{"/nrx/Television1/model/x", PROPERTIES, CHANGE,
                        with("sa{sv}as", television::PlainKind<std::string>::INTERFACE, 1, "Value", "s", "new", 0)};
    change.send(television.get(), "");
    EXPECT_EQ(heardNow(), Strings{});
    EXPECT_EQ(ear.take(), Strings{});  // A late answer registers nothing.
    EXPECT_EQ(serve(attempt), 0);
    EXPECT_TRUE(held.calls.empty());
    EXPECT_EQ(root().disconnectObject("x", &ear, object), 0);
    EXPECT_EQ(serve(attempt), 122);
    held.answer(fails(SD_BUS_ERROR_UNKNOWN_OBJECT, ""));
    heardNow();
    EXPECT_EQ(attempt(), 104);  // Without a call.
    answers["x Type"] = right;
    EXPECT_EQ(serve(attempt), 0);
    change.send(television.get(), "");
    EXPECT_EQ(heardNow(), Strings{});
    EXPECT_EQ(ear.take(), Strings{"new"});
    EXPECT_EQ(root().disconnectObject("x", &ear, object), 0);
}

TEST_F(HostileBus, ManyClientsLearnWhatTheyMissed) {
    constexpr int COUNT = 700;  // More than the bus lets a client have rules, or open calls.
    std::vector<std::unique_ptr<Client<int>>> clients;
    std::atomic<int> heard = 0;
    HeldCalls held;
    auto const answerAll = [&](Answer const& value) {
        for (int number = 0; number < COUNT; ++number) {
            answers["k" + std::to_string(number) + " Type"] = says("v", "i", 1);
            answers["k" + std::to_string(number) + " Value"] = value;
        }
    };
    answerAll(says("v", "i", 1));
    serve([&] {
        for (int number = 0; number < COUNT; ++number) {
            clients.push_back(std::make_unique<Client<int>>("k" + std::to_string(number)));
            clients.back()->ear.then = [&heard] { ++heard; };
            EXPECT_EQ(clients.back()->status, 0);
        }
        return 0;
    });
    answerAll(held.hold());
    turnOnAgain();
    EXPECT_FALSE(std::exchange(held.calls, {}).empty());  // Nobody answers these.
    turnOnAgain();
    for (std::size_t failed = 0; heard < COUNT;) {
        heardNow();
        bool const fail = failed < 100;
        failed += fail ? held.calls.size() : 0;
        held.answer(fail ? fails(SD_BUS_ERROR_LIMITS_EXCEEDED, "") : says("v", "i", 2));
    }
    heardNow();
    EXPECT_LE(held.most, 64U);
    for (auto const& each : clients) {
        EXPECT_EQ(each->ear.take(), Integers{2});
    }
}

TEST_F(HostileBus, AReturnIsToldWhateverComesBetween) {
    HeldCalls held;
    answers["l Value"] = held.hold();
    turnOnAgain();
    while (held.calls.empty()) {
        heardNow();
    }
    EXPECT_GE(sd_bus_release_name(television.get(), bus::SERVICE), 0);
    Strings read;
    untilDone([&] { return all->list.read(read) - 101; });
    held.answer(lists({"of an earlier owner"}));
    answers["l Value"] = fails(SD_BUS_ERROR_LIMITS_EXCEEDED, "");
    EXPECT_GE(sd_bus_request_name(television.get(), bus::SERVICE, 0), 0);
    while (log.take().empty()) {  // Until the failure has its line.
        serve(bus::waitUntilDelivered);
    }
    std::unique_ptr<Client<Strings>> other;
    serve([&other] { return (other = std::make_unique<Client<Strings>>("l"))->status; });
    answers["l Value"] = lists({"missed"});
    Strings heard;
    while (std::count(heard.begin(), heard.end(), "missed") == 0) {
        heardNow().swap(heard);
        EXPECT_EQ(std::count(heard.begin(), heard.end(), "of an earlier owner"), 0);
    }

    answers["l Value"] = held.hold();
    turnOnAgain();
    while (held.calls.empty()) {
        heardNow();
    }
    RIGHT[0].send(television.get(), "");
    Signal{MODEL, MANAGER, GONE, with("oas", LIST, 1, OBJECT)}.send(television.get(), "");
    for (int times = 0; times < 2; ++times) {
        heardNow();
        EXPECT_EQ(serve([&] { return all->list.write({"new"}); }), 106);
        held.answer(lists({"late"}));
    }
    answers["l Value"] = lists({});
    turnOnAgain();
    EXPECT_EQ(other->end(), 0);
    heardNow();
}

TEST_F(HostileBus, AChangeAfterTheReturnIsHeardLast) {
    bool isRead = false;
    Answer const value = std::exchange(answers["l Value"], [&isRead](sd_bus_message* call) {
        isRead = true;
        return lists({"earlier"})(call);
    });
    Answer const sync = std::exchange(answers["Sync"], [&](sd_bus_message* call) {
        std::exchange(isRead, false) ? RIGHT[0].send(television.get(), "") : void();
        return says("")(call);
    });
    turnOnAgain();
    Strings heard;
    for (int questions = 0; questions < 3; ++questions) {
        Strings const more = heardNow();
        heard.insert(heard.end(), more.begin(), more.end());
    }
    EXPECT_EQ(heard, (Strings{"x", "y", "ready 126 "}));
    answers["l Value"] = value;
    answers["Sync"] = sync;
}

TEST_F(HostileBus, TheOldestOfManyActionsIsForgotten) {
    constexpr unsigned int MOST = 1000;
    unsigned int next = MOST + 1;
    Answer const right =
        std::exchange(answers["Invoke"], [&next](sd_bus_message* call) { return says("u", next--)(call); });
    serve([this] {
        unsigned int id = 0;
        for (unsigned int count = 0; count <= MOST; ++count) {
            EXPECT_EQ(all->action->invoke(id, {}), 0);
        }
        return 0;
    });
    answers["Invoke"] = right;
    turnOnAgain();
    Strings expected;
    for (unsigned int id = MOST; id > 0; --id) {
        expected.push_back(std::to_string(id) + " error 126 ");
    }
    expected.push_back("ready 126 ");
    EXPECT_EQ(heardNow(), expected);
}

TEST_F(HostileBus, AKeyIsServedOrRefused) {
    using Row = std::pair<std::string, int>;
    for (auto const& [key, status] : {Row("x", 0), Row("\xff\x01 /\0"s, 0), Row(std::string(1500, 'k'), 0),
                                      Row(std::string(70'000, '\xff'), 123), Row("", 104), Row("..\n\x1b", 104)}) {
        if (status != 104) {
            answers[key + " Type"] = says("v", "i", 2);
        }
        EXPECT_EQ(serve([&, &name = key] { return reach(name); }, status), status) << key.substr(0, 10);
        EXPECT_EQ(heardNow(), Strings{});
    }
}

TEST_F(HostileBus, WhatTheBusDoesNotCarryIsLostAlone) {
    auto const write = [&](std::size_t length) {
        Strings texts;
        for (int at = 0; at < 10'000; ++at) {
            texts.emplace_back(length, static_cast<char>('a' + at % 26));
        }
        return serve([&] { return all->list.write(texts); });
    };
    Strings read;
    EXPECT_EQ(write(48) + serve([&] { return all->list.read(read); }), 0);
    EXPECT_TRUE(read.size() == 10'000 && read[25] == std::string(48, 'z'));
    EXPECT_EQ(heardNow(), Strings{});
    EXPECT_EQ(write(148), 122);  // The bus has closed the connection.
    auto const readList = [&] { return READ.perform(*all); };
    untilDone(readList);
    Answer const right = std::exchange(answers["l Value"], lists(Strings(20'000, read[0])));
    EXPECT_EQ(serve(readList), 122);  // Now the television's.
    answers["l Value"] = right;
    turnOnAgain();
    untilDone(readList);
    Strings const news = heardNow();
    EXPECT_EQ(
        std::count(news.begin(), news.end(),
                   "ERROR [BUS] l: write failed, status 122: no reply arrived in time, the television may still carry out the call"),
        1);
}

}  // namespace
}  // namespace test
