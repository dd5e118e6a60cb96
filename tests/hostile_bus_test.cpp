// What nobody agreed on, sent by a television or by a stranger: it does no harm, and what comes after it is heard.
// Runs on a bus of its own that carries no message of more than a million bytes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "bus/bus_platform.h"
#include "bus/contract.h"
#include "bus/message.h"
#include "frame/process.h"
#include "objbus/root_interface.h"
#include "television/log.h"
#include "television/root_reference.h"

namespace {

using namespace objbus;
using namespace std::string_literals;
using ::testing::ElementsAreArray;
using ::testing::StartsWith;
using Strings = std::vector<std::string>;
using Content = std::function<int(sd_bus_message* message)>;

constexpr char NUMBER[] = "/nrx/Television1/model/n";
constexpr char TEXT[] = "/nrx/Television1/model/t";
constexpr char LIST[] = "/nrx/Television1/model/l";
constexpr char ACTION[] = "/nrx/Television1/model/a";
constexpr char ITERATOR[] = "/nrx/Television1/iterator/1";
constexpr auto& MODEL = bus::MODEL_PATH;
constexpr auto& OBJECT = bus::OBJECT_INTERFACE;
constexpr auto& INTEGERS = bus::Plain<int>::INTERFACE;
constexpr auto& STRINGS = bus::Plain<std::string>::INTERFACE;
constexpr auto& LISTS = bus::Plain<Strings>::INTERFACE;
constexpr auto& PROPERTIES = bus::PROPERTIES_INTERFACE;
constexpr auto& MANAGER = bus::MANAGER_INTERFACE;
constexpr auto& ITERATORS = bus::ITERATOR_INTERFACE;
constexpr auto& CHANGE = "PropertiesChanged";
constexpr auto& GONE = "InterfacesRemoved";

/// What a message holds, whatever was agreed on.
template <typename... Values>
Content with(char const* types, Values... values) {
    return [=](sd_bus_message* message) { return sd_bus_message_append(message, types, values...); };
}
template <typename... Values>
Content changed(char const* interface, Values... values) {
    return with("sa{sv}as", interface, 1, "Value", values..., 0);
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

/// A signal with one content after the other, and what the observers hear of each.
struct Signal {
    char const* path;
    char const* interface;
    char const* name;
    std::vector<Content> contents;
    Strings heard{};

    void send(sd_bus* bus, Content const& content, std::string const& receiver) const {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_signal(bus, &made, path, interface, name);
        bus::Message const message(made);
        EXPECT_GE(content(made), 0) << name;
        EXPECT_GE(sd_bus_send_to(bus, made, receiver.empty() ? nullptr : receiver.c_str(), nullptr), 0) << name;
    }
};
Signal const RIGHT[] = {
    {NUMBER, PROPERTIES, CHANGE, {changed(INTEGERS, "i", 7)}, {"n 7"}},
    {TEXT, PROPERTIES, CHANGE, {changed(STRINGS, "s", "x")}, {"t x"}},
    {LIST, PROPERTIES, CHANGE, {changed(LISTS, "as", 2, "a", "b")}, {"l 2"}},
    {ACTION, bus::ACTION_INTERFACE, "Result", {with("ua(nnns)", 1, 1, 0, 127, -128, "x")}, {"result 1"}},
    {ACTION, bus::ACTION_INTERFACE, "ExecutionError", {with("ui", 2, 5)}, {"error 2"}},
    {ITERATOR, ITERATORS, "TotalCount", {with("i", 3)}, {"total 3"}},
    {ITERATOR, ITERATORS, "RowChunkRead", {with("aas", 1, 1, "x")}, {"x"}},
};

struct Observing : ObserverNumericInteger, ObserverString, ObserverVectorString, ObserverAction, ObserverTableIterator {
    void add(std::string const& what, long long value) { heard.push_back(what + ' ' + std::to_string(value)); }
    void notifyNewValue(int value) override { add("n", value); }
    void notifyNewValue(std::string const& value) override { heard.push_back("t " + value); }
    void notifyStringVector(Strings const& values) override { add("l", static_cast<int>(values.size())); }
    void notifyResult(unsigned int id, std::vector<Argument> const& /*results*/) override { add("result", id); }
    void notifyExecutionError(unsigned int id, int /*error*/) override { add("error", id); }
    void notifyUpdate(int update) override { add("update", update); }
    void notifyCommit(int status) override { add("commit", status); }
    void notifyTotalCount(int count) override { add("total", count); }
    void notifySeekToRow(int row) override { add("row", row); }
    void notifySeekToContent(int row) override { add("content", row); }
    void notifyCursorPosition(int row) override { add("cursor", row); }
    void notifyReadRow(Strings const& row) override { heard.insert(heard.end(), row.begin(), row.end()); }
    void notifyReadRowChunk(std::vector<Strings const*> const& rows) override { notifyReadRow(*rows.at(0)); }
    void notifyIteratorReady(int status) override { add("ready", status); }

    Strings heard;
};

class HostileBus : public ::testing::Test {
public:
    void SetUp() override {
        television::setLogSink([this](int /*severity*/, std::string const& line) { all.heard.push_back(line); });
        turnOn();
        boost::shared_ptr<frame::Interface> reference;
        untilDone([&reference] {
            return frame::Process::getInstance().getInterfaceReference(reference, television::ROOT_INTERFACE_NAME);
        });
        root = static_cast<RootInterface*>(reference->getObject());
        number = connect<ObjectNumericInteger, ObserverNumericInteger>("n", &all);
        text = connect<ObjectString, ObserverString>("t", &all);
        list = connect<ObjectVectorString, ObserverVectorString>("l", &all);
        action = connect<ObjectAction, ObserverAction>("a", &all);
        table = connect<ObjectTable, ObserverTable>("r", nullptr);
        untilDone([&] { return (iterator = table->createIterator({}, &all, {}, {}, {})) == nullptr; });
        answers["CreateIterator"] = says("o", "/nrx/Television1/iterator/2");
        heardNow();
    }
    /// After all that, what is right is heard.
    void TearDown() override {
        for (Signal const& signal : RIGHT) {
            send(signal, signal.contents[0]);
            EXPECT_EQ(heardNow(), signal.heard);
        }
        EXPECT_EQ(table->destroyIterator(iterator), 0);
        for (auto const& [key, observer, object] : connected) {
            EXPECT_EQ(root->disconnectObject(key, observer, object), 0);
        }
        television::setLogSink({});
    }

    /// Has a television, in the place of another one.
    void turnOn() {
        ASSERT_GE(bus::open(television, ""), 0);
        ASSERT_GE(sd_bus_add_filter(television.get(), nullptr, onCall, this), 0);
        ASSERT_GE(sd_bus_request_name(television.get(), bus::SERVICE, 0), 0);
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
    void send(Signal const& signal, Content const& content) const {
        signal.send(television.get(), content, signal.path == ITERATOR ? client : "");
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

    template <typename T, typename Obs>
    T* connect(std::string const& key, Obs* observer) {
        Object* object = nullptr;
        untilDone([&] { return root->connectObject(key, observer, object); });
        connected.emplace_back(key, observer, object);
        return static_cast<T*>(object);
    }
    /// What the observers and the log have heard since the last call, once all has come.
    Strings heardNow() {
        EXPECT_EQ(serve(bus::waitUntilDelivered), 0);
        return std::exchange(all.heard, {});
    }

    // Operations. One that fails leaves alone what the caller has.
    int connectTo(std::string const& key) const {
        Object* object = nullptr;
        int const status = root->connectObject(key, nullptr, object);
        EXPECT_EQ(object != nullptr, status == 0);
        return status != 0 ? status : root->disconnectObject(key, nullptr, object);
    }
    static int readFrom(auto& object, auto value) {
        auto const kept = value;
        int const status = object.getValue(value);
        EXPECT_EQ(value == kept, status != 0);
        return status;
    }
    int invoke() const {
        unsigned int id = 5;
        int const status = action->invoke(id, {});
        EXPECT_EQ(id, status == 0 ? 1 : 5);
        return status;
    }
    int iterate() {
        TableIterator* const made = table->createIterator({}, &all, {}, {}, {});
        return made != nullptr ? table->destroyIterator(made) : -1;
    }
    static int listObjects() {
        std::map<std::string, ObjectTypeSpec> objects{{"kept", OBJECT_TYPE_NONE}};
        int const status = bus::listObjects(objects);
        EXPECT_EQ(objects.size(), status == 0 ? 0 : 1);
        return status;
    }

    std::map<std::string, Answer> answers{
        {"n Type", says("v", "i", 1)},
        {"n Value", says("v", "i", 7)},
        {"t Type", says("v", "i", 2)},
        {"t Value", says("v", "s", "text")},
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
        {"Settle", says("")},
        {"GetManagedObjects", says("a{oa{sa{sv}}}", 0)},
    };
    bus::Bus television;
    std::string client;
    RootInterface* root = nullptr;
    ObjectNumericInteger* number = nullptr;
    ObjectString* text = nullptr;
    ObjectVectorString* list = nullptr;
    ObjectAction* action = nullptr;
    ObjectTable* table = nullptr;
    TableIterator* iterator = nullptr;
    Observing all;
    std::vector<std::tuple<std::string, Observer*, Object*>> connected;
};

/// An operation, which returns its status, and the method that it calls.
struct Operation {
    char const* method;
    int (*perform)(HostileBus& test);
};
constexpr Operation CONNECT{"x Type", [](auto& test) { return test.connectTo("x"); }};
constexpr Operation CONNECT_NUMBER{"y Value", [](auto& test) { return test.connectTo("y"); }};
constexpr Operation READ{"t Value", [](auto& test) { return test.readFrom(*test.text, "kept"s); }};
constexpr Operation READ_NUMBER{"n Value", [](auto& test) { return test.number->getValue() - 7; }};  // Or the last.
constexpr Operation READ_LIST{"l Value", [](auto& test) { return test.readFrom(*test.list, Strings{"kept"}); }};
constexpr Operation WRITE{"Set", [](auto& test) { return test.text->setValue("new"); }};
constexpr Operation INVOKE{"Invoke", [](auto& test) { return test.invoke(); }};
constexpr Operation ITERATE{"CreateIterator", [](auto& test) { return test.iterate(); }};
constexpr Operation LIST_ALL{"GetManagedObjects", [](auto& test) { return test.listObjects(); }};
constexpr Operation SETTLE{"Settle", [](auto& /*test*/) { return bus::waitUntilDelivered(); }};

TEST_F(HostileBus, AnAnswerThatIsWrongIsAStatus) {
    struct Row {
        Operation operation;
        int status;
        std::vector<Answer> answers;
    };
    constexpr char ALL[] = "a{oa{sa{sv}}}";
    Answer const unknown = fails(SD_BUS_ERROR_UNKNOWN_PROPERTY, "");
    std::vector<Row> rows{
        {CONNECT, 124, {says(""), says("i", 2), says("v", "u", 2), says("v", "s", "2")}},
        {CONNECT, 124, {says("v", "v", "i", 2), says("v", "i", 1)}},  // The last would have a number.
        {CONNECT, 0, {says("v", "i", 99), says("v", "i", -1)}},       // Objects that nobody serves.
        {CONNECT, 104, {unknown}},
        {CONNECT_NUMBER, 124, {says("v", "x", 7LL), says("v", "s", "7")}},
        {CONNECT_NUMBER, 104, {unknown}},
        {READ, 124, {says(""), says("s", "x"), says("v", "i", 5), says("v", "as", 1, "x")}},
        {READ, 106, {unknown}},
        {READ_NUMBER, 0, {says("v", "s", "x"), unknown, never}},
        {READ_LIST, 124, {says("v", "ai", 1, 5), says("v", "s", "x"), says("v", "aas", 1, 1, "x")}},
        {WRITE, 0, {says("s", "x")}},  // No answer was agreed on, and none is read.
        {INVOKE, 124, {says(""), says("i", 5), says("s", "x")}},
        {ITERATE, -1, {says(""), says("s", ITERATOR), never}},
        {ITERATE, -1, {says("o", TEXT), says("o", MODEL)}},  // Others hear from there.
        {LIST_ALL, 124, {says(""), says("s", "x"), says("a{sa{sa{sv}}}", 1, TEXT, 0)}},
        {LIST_ALL, 124, {says("a{os}", 1, TEXT, ""), says(ALL, 1, TEXT, 1, OBJECT, 1, "Type", "s", "2")}},
        {LIST_ALL, 0, {says(ALL, 1, TEXT, 1, STRINGS, 1, "Type", "i", 2)}},
        {LIST_ALL, 0, {says(ALL, 1, "/elsewhere", 1, OBJECT, 1, "Type", "i", 2)}},
        {SETTLE, 0, {says("s", "x")}},
    };
    for (Operation const& operation : {CONNECT, READ, WRITE, INVOKE}) {
        int const missing = operation.method == CONNECT.method ? 104 : 106;
        auto const status = [](char const* content) { return fails(bus::STATUS_ERROR, content); };
        rows.push_back({operation, 4, {status("4")}});
        rows.push_back({operation, -4, {status("-4")}});
        rows.push_back({operation, 124, {status("0"), status(""), status(nullptr), status("x4"), status("4x")}});
        rows.push_back({operation, 124, {status("99999999999"), fails(SD_BUS_ERROR_ACCESS_DENIED, "4")}});
        rows.push_back({operation, missing, {fails(SD_BUS_ERROR_UNKNOWN_OBJECT, "")}});
    }
    for (Operation const& operation : {CONNECT, READ, WRITE, INVOKE, LIST_ALL, SETTLE}) {
        rows.push_back({operation, 122, {never}});
    }
    for (auto const& [operation, status, wrong] : rows) {
        for (Answer const& answer : wrong) {
            SCOPED_TRACE(operation.method + (" " + std::to_string(&answer - wrong.data())));
            auto const perform = [&test = *this, &operation = operation] { return operation.perform(test); };
            Answer const right = std::exchange(answers[operation.method], answer);
            EXPECT_EQ(serve(perform, status), status);
            answers[operation.method] = right;
            std::string const line = "ERROR [BUS] t: write failed, status " + std::to_string(status) + ": ";
            bool const isLogged = operation.method == WRITE.method && status != 0;
            EXPECT_THAT(heardNow(), ElementsAreArray(std::vector(isLogged ? 1 : 0, StartsWith(line))));
            EXPECT_EQ(serve(perform, 0), 0);
        }
    }
}

TEST_F(HostileBus, ASignalThatIsWrongIsNoNews) {
    Signal const signals[] = {
        {TEXT, PROPERTIES, CHANGE, {with(""), with("s", STRINGS), with("sas", STRINGS, 1, "Value")}},
        {TEXT, PROPERTIES, CHANGE, {changed(STRINGS, "i", 5), changed(STRINGS, "v", "s", "x")}},
        {TEXT, PROPERTIES, CHANGE, {changed(INTEGERS, "s", "x"), with("sa{sv}as", STRINGS, 0, 1, "Value")}},
        {TEXT, PROPERTIES, CHANGE, {with("sa{ss}as", STRINGS, 1, "Value", "x", 0)}},
        {TEXT, PROPERTIES, CHANGE, {with("sa{sv}as", STRINGS, 1, "Other", "s", "x", 0)}},
        {TEXT, PROPERTIES, CHANGE, {with("sa{sv}as", STRINGS, 2, "Other", "i", 5, "Value", "s", "x", 0)}, {"t x"}},
        {TEXT, PROPERTIES, "Changed", {changed(STRINGS, "s", "x")}},
        {"/nrx/Television1/model/nothing", PROPERTIES, CHANGE, {changed(STRINGS, "s", "x")}},
        {NUMBER, PROPERTIES, CHANGE, {changed(INTEGERS, "x", 5LL), changed(INTEGERS, "s", "x")}},
        {LIST, PROPERTIES, CHANGE, {changed(LISTS, "ai", 1, 5), changed(LISTS, "aas", 1, 1, "x")}},
        {ACTION, bus::ACTION_INTERFACE, "Result", {with(""), with("u", 1), with("ia(nnns)", 1, 0), with("uas", 1, 0)}},
        {ACTION, bus::ACTION_INTERFACE, "Result", {with("ua(nnns)", 1, 2, 0, 0, 0, "x", 0, 128, 0, "x")}},
        {ACTION, bus::ACTION_INTERFACE, "Result", {with("ua(nnns)", 1, 1, 0, 0, -129, "x")}},
        {ACTION, bus::ACTION_INTERFACE, "ExecutionError", {with("u", 1), with("us", 1, "x")}},
        {ITERATOR, ITERATORS, "Ready", {with(""), with("s", "x")}},
        {ITERATOR, ITERATORS, "TotalCount", {with("x", 3LL), with("u", 3)}},
        {ITERATOR, ITERATORS, "RowRead", {with("s", "x"), with("ai", 1, 5), with("")}},
        {ITERATOR, ITERATORS, "RowChunkRead", {with("as", 1, "x"), with("aai", 1, 1, 5)}},
        {MODEL, MANAGER, "InterfacesAdded", {with(""), with("s", TEXT)}},
        {MODEL, MANAGER, GONE, {with(""), with("o", TEXT), with("os", TEXT, OBJECT), with("sas", TEXT, 1, OBJECT)}},
        {MODEL, MANAGER, GONE, {with("oas", TEXT, 1, STRINGS), with("oas", "/elsewhere", 1, OBJECT)}},
        {MODEL, MANAGER, GONE, {with("oas", "/nrx/Television1/model/nothing", 1, OBJECT)}},
        {TEXT, MANAGER, GONE, {with("oas", TEXT, 1, OBJECT)}},
    };
    for (Signal const& signal : signals) {
        for (Content const& content : signal.contents) {
            send(signal, content);
            EXPECT_EQ(heardNow(), signal.heard) << signal.name << ' ' << &content - signal.contents.data();
        }
    }
}

TEST_F(HostileBus, AStrangerIsNotHeard) {
    bus::Bus stranger;
    ASSERT_GE(bus::open(stranger, ""), 0);
    char const* name = nullptr;
    ASSERT_GE(sd_bus_get_unique_name(stranger.get(), &name), 0);
    constexpr char BUS[] = "org.freedesktop.DBus";
    std::vector<Signal> signals(std::begin(RIGHT), std::end(RIGHT));
    signals.push_back({MODEL, MANAGER, GONE, {with("oas", TEXT, 1, OBJECT)}});
    signals.push_back({"/org/freedesktop/DBus", BUS, "NameOwnerChanged", {with("sss", bus::SERVICE, "", name)}});
    for (Signal const& signal : signals) {
        signal.send(stranger.get(), signal.contents[0], "");
        signal.send(stranger.get(), signal.contents[0], client);
        // Then the bus has passed on what was sent before.
        EXPECT_GE(sd_bus_call_method(stranger.get(), BUS, "/", BUS, "GetId", nullptr, nullptr, nullptr), 0);
        EXPECT_EQ(heardNow(), Strings{}) << signal.name;
    }
}

TEST_F(HostileBus, AKeyIsServedOrRefused) {
    using Row = std::pair<std::string, int>;
    for (auto const& [key, status] : {Row("x", 0), Row("\xff\x01 /\0"s, 0), Row(std::string(1500, 'k'), 123),
                                      Row(std::string(70'000, '\xff'), 123), Row("", 104), Row("..\n\x1b", 104)}) {
        if (status != 104) {
            answers[key + " Type"] = says("v", "i", 2);
        }
        EXPECT_EQ(serve([&, &name = key] { return connectTo(name); }, status), status) << key.substr(0, 10);
        EXPECT_EQ(heardNow(), Strings{});
    }
}

TEST_F(HostileBus, WhatTheBusDoesNotCarryIsLostAlone) {
    auto const write = [&](std::size_t length) {
        std::map<int, std::string> texts;
        for (int at = 0; at < 10'000; ++at) {
            texts[at] = std::string(length, static_cast<char>('a' + at % 26));
        }
        return serve([&] { return list->setValue(texts); });
    };
    Strings read;
    EXPECT_EQ(write(48) + serve([&] { return list->getValue(read); }), 0);
    EXPECT_TRUE(read.size() == 10'000 && read[25] == std::string(48, 'z'));
    EXPECT_EQ(heardNow(), Strings{});
    EXPECT_EQ(write(148), 122);  // The bus has closed the connection.
    auto const readList = [&] { return READ_LIST.perform(*this); };
    untilDone(readList);
    Answer const right = std::exchange(answers["l Value"], lists(Strings(20'000, read[0])));
    EXPECT_EQ(serve(readList), 122);  // Now the television's.
    answers["l Value"] = right;
    turnOn();
    untilDone(readList);
    Strings const news = heardNow();
    EXPECT_EQ(std::count(news.begin(), news.end(), "ERROR [BUS] l: write failed, status 122: no answer came in time"),
              1);
    EXPECT_EQ(table->destroyIterator(iterator), 0);
    answers["CreateIterator"] = says("o", ITERATOR);
    untilDone([&] { return (iterator = table->createIterator({}, &all, {}, {}, {})) == nullptr; });
}

}  // namespace
