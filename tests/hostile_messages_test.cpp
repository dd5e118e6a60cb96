// A wrong reply causes a status. A wrong signal is dropped. Later messages are received.

#include <dlfcn.h>

#include "hostile_bus.h"

static std::atomic<bool> isWithoutMemory = false;

/// Replaces libsystemd's function in the whole process, including the platform library.
extern "C" __attribute__((visibility("default"))) int sd_bus_message_new_method_call(
    sd_bus* bus, sd_bus_message** message, char const* destination, char const* path, char const* interface,
    char const* member) {
    static auto const make = reinterpret_cast<decltype(&sd_bus_message_new_method_call)>(::dlsym(RTLD_NEXT, __func__));
    return isWithoutMemory ? -ENOMEM : make(bus, message, destination, path, interface, member);
}

namespace test::hostile_messages_test {

int connectOnce(std::string const& key) {
    Object* object = nullptr;
    int const status = root().connectObject(key, nullptr, object);
    EXPECT_EQ(object != nullptr, status == 0);
    return status != 0 ? status : root().disconnectObject(key, nullptr, object);
}

/// A method, and an operation that calls the method and returns the status. A failure changes no variable.
struct Operation {
    char const* method;
    int (*perform)(Clients& clients);
};
constexpr Operation CONNECT{"x Type", [](auto& /*clients*/) { return connectOnce("x"); }};
constexpr Operation CONNECT_NUMBER{"y Value", [](auto& /*clients*/) { return connectOnce("y"); }};
constexpr Operation READ{"l Value", [](auto& clients) { return clients.list.readStatus(); }};
// A failed read of a number returns the last value, which is 7.
constexpr Operation READ_NUMBER{"n Value", [](auto& clients) { return clients.number.read() - 7; }};
constexpr Operation WRITE{"Set", [](auto& clients) { return clients.list.write({"new"}); }};
constexpr Operation INVOKE{"Invoke", [](auto& clients) {
                               unsigned int id = 5;
                               int const status = clients.action->invoke(id, {});
                               EXPECT_EQ(id, status == 0 ? 1 : 5);
                               return status;
                           }};
constexpr Operation ITERATE{"CreateIterator", [](auto& clients) {
                                TableIterator* const made = clients.iterate();
                                return made != nullptr ? clients.table->destroyIterator(made) : -1;
                            }};
constexpr Operation LIST_ALL{"GetManagedObjects", [](auto& /*clients*/) {
                                 std::map<std::string, ObjectTypeSpec> objects{{"kept", OBJECT_TYPE_NONE}};
                                 int const status = bus::listObjects(objects);
                                 EXPECT_EQ(objects.size(), status == 0 ? 0 : 1);
                                 return status;
                             }};
constexpr Operation SYNCHRONIZE{SYNC_METHOD, [](auto& /*clients*/) { return bus::waitUntilDelivered(); }};

TEST_F(HostileBus, InvalidRepliesBecomeStatuses) {
    struct Row {
        Operation operation;
        int status;
        std::vector<Answer> answers;
    };
    constexpr char ALL[] = "a{oa{sa{sv}}}";
    auto const& OBJECT = bus::OBJECT_INTERFACE;
    Answer const unknown = replyWithError(SD_BUS_ERROR_UNKNOWN_PROPERTY, "");
    std::vector<Row> rows{
        {CONNECT,
         124,
         {replyWith(""), replyWith("v", "s", "2"), replyWith("v", "i", 1)}},  // Type 1, but a string value.
        {CONNECT, 0, {replyWith("v", "i", 99), replyWith("v", "i", -1)}},     // Unknown types are accepted.
        {CONNECT, 104, {unknown}},
        {CONNECT_NUMBER, 124, {replyWith("v", "x", 7LL)}},
        {CONNECT_NUMBER, 104, {unknown}},
        {READ, 124, {replyWith("v", "s", "x"), replyWith("v", "aas", 1, 1, "x")}},
        {READ, 106, {unknown}},
        {READ_NUMBER, 0, {replyWith("v", "s", "x"), unknown, withholdReply}},
        {WRITE, 0, {replyWith("s", "x")}},  // The body of a reply to a write is not read.
        {INVOKE, 124, {replyWith("i", 5)}},
        {ITERATE,
         -1,
         {replyWith(""), withholdReply, replyWith("o", LIST_PATH),
          replyWith("o", bus::MODEL_PATH)}},  // No iterator's path.
        {ITERATE, 109, {replyWithError(bus::STATUS_ERROR, "109")}},
        {LIST_ALL, 124, {replyWith(""), replyWith("s", "x"), replyWith("a{sa{sa{sv}}}", 1, LIST_PATH, 0)}},
        {LIST_ALL,
         124,
         {replyWith("a{os}", 1, LIST_PATH, ""), replyWith(ALL, 1, LIST_PATH, 1, OBJECT, 1, "Type", "s", "2")}},
        {LIST_ALL, 0, {replyWith(ALL, 1, LIST_PATH, 1, LIST_INTERFACE, 1, "Type", "i", 2)}},
        {LIST_ALL, 0, {replyWith(ALL, 1, "/elsewhere", 1, OBJECT, 1, "Type", "i", 2)}},
        {SYNCHRONIZE, 0, {replyWith("s", "x")}},
    };
    for (Operation const& operation : {CONNECT, READ, WRITE, INVOKE}) {
        int const missing = operation.method == CONNECT.method ? 104 : 106;
        rows.insert(
            rows.end(),
            {{operation, -4, {replyWithError(bus::STATUS_ERROR, "-4")}},
             {operation, 124, {replyWithError(bus::STATUS_ERROR, nullptr), replyWithError(SD_BUS_ERROR_FAILED, "4")}},
             {operation,
              110,
              {replyWithError(SD_BUS_ERROR_ACCESS_DENIED, "4"), replyWithError(SD_BUS_ERROR_LIMITS_EXCEEDED, "")}},
             {operation, missing, {replyWithError(SD_BUS_ERROR_UNKNOWN_OBJECT, "")}}});
    }
    for (Operation const& operation : {CONNECT, READ, WRITE, INVOKE, LIST_ALL, SYNCHRONIZE}) {
        rows.push_back({operation, 122, {withholdReply}});
    }
    for (auto const& [operation, status, wrong] : rows) {
        for (Answer const& answer : wrong) {
            SCOPED_TRACE(operation.method + (" " + std::to_string(&answer - wrong.data())));
            auto const perform = [this, &operation = operation] { return operation.perform(*clients); };
            bool const isIterator = operation.method == ITERATE.method;
            Answer const right = std::exchange(answers[operation.method], answer);
            EXPECT_EQ(serve(perform, isIterator ? -1 : status), isIterator ? -1 : status);
            answers[operation.method] = right;
            std::string const what = isIterator ? "r: createIterator" : "l: write";
            std::string const line = "ERROR [BUS] " + what + " failed, status " + std::to_string(status) + ": ";
            bool const isLogged = (operation.method == WRITE.method && status != 0) || status == 109;
            EXPECT_THAT(received(),
                        ::testing::ElementsAreArray(std::vector(isLogged ? 1 : 0, ::testing::StartsWith(line))));
            EXPECT_EQ(serve(perform, 0), 0);
        }
    }
}

TEST_F(HostileBus, InvalidSignalsAndSendersAreIgnored) {
    auto const& MODEL = bus::MODEL_PATH;
    auto const& OBJECT = bus::OBJECT_INTERFACE;
    constexpr char NOTHING[] = "/nrx/Television1/model/nothing";
    bus::Bus stranger;
    ASSERT_GE(bus::openBus(stranger, bus::addressFromEnvironment()), 0);
    char const* name = nullptr;
    ASSERT_GE(sd_bus_get_unique_name(stranger.get(), &name), 0);
    std::vector<Signal> signals(std::begin(VALID_SIGNALS), std::end(VALID_SIGNALS));
    signals.push_back({MODEL, MANAGER_INTERFACE, INTERFACES_REMOVED, makeBody("oas", LIST_PATH, 1, OBJECT)});
    signals.push_back({bus::BUS_PATH, bus::BUS_NAME, "NameOwnerChanged", makeBody("sss", bus::SERVICE, "", name)});
    for (Signal const& signal : signals) {
        send(signal, stranger.get(), nullptr);
        send(signal, stranger.get(), clientName.c_str());
        // The reply shows that the bus has forwarded the signals.
        EXPECT_GE(
            sd_bus_call_method(stranger.get(), bus::BUS_NAME, "/", bus::BUS_NAME, "GetId", nullptr, nullptr, nullptr),
            0);
        EXPECT_EQ(received(), Strings{}) << signal.name;
    }
    for (Body const& body :
         {makeBody(""), makeBody("s", LIST_PATH), makeBody("o", LIST_PATH), makeBody("os", LIST_PATH, OBJECT),
          makeBody("sas", LIST_PATH, 1, OBJECT), makeBody("oas", LIST_PATH, 1, LIST_INTERFACE),
          makeBody("oas", "/elsewhere", 1, OBJECT), makeBody("oas", NOTHING, 1, OBJECT)}) {
        send({MODEL, MANAGER_INTERFACE, INTERFACES_REMOVED, body});
        send({MODEL, MANAGER_INTERFACE, "InterfacesAdded", body});
        send({NOTHING, PROPERTIES_INTERFACE, PROPERTIES_CHANGED, body});
        send({LIST_PATH, MANAGER_INTERFACE, INTERFACES_REMOVED, makeBody("oas", LIST_PATH, 1, OBJECT)});
    }
    EXPECT_EQ(received(), Strings{});
    for (auto const& [what, signal] : std::initializer_list<std::pair<std::string, Signal>>{
             {"l",
              {LIST_PATH, PROPERTIES_INTERFACE, PROPERTIES_CHANGED,
               makeBody("sa{sv}as", LIST_INTERFACE, 1, "Value", "s", "x", 0)}},
             {"l",
              {LIST_PATH, PROPERTIES_INTERFACE, PROPERTIES_CHANGED,
               makeBody("sa{sv}as", LIST_INTERFACE, 1, "Other", "s", "x", 1, "Value")}},
             {"l", {LIST_PATH, PROPERTIES_INTERFACE, PROPERTIES_CHANGED, makeBody("s", LIST_INTERFACE)}},
             {"a", {ACTION_PATH, bus::ACTION_INTERFACE, "ExecutionError", makeBody("us", 2, "x")}},
             {"r", {TABLE_PATH, bus::TABLE_INTERFACE, "Updated", makeBody("s", "x")}},
             {ITERATOR_PATH, {ITERATOR_PATH, bus::ITERATOR_INTERFACE, "RowRead", makeBody("s", "x")}}}) {
        send(signal);
        EXPECT_EQ(received(),
                  Strings{"ERROR [BUS] " + what + ": notify failed, status 124: the message violates the interface"});
    }
}

TEST_F(HostileBus, WithoutMemoryNothingIsSent) {
    for (Operation const& operation : {CONNECT, READ, WRITE, INVOKE}) {
        isWithoutMemory = true;
        EXPECT_EQ(operation.perform(*clients), 125) << operation.method;
        isWithoutMemory = false;
        EXPECT_EQ(serve([&] { return operation.perform(*clients); }, 0), 0) << operation.method;
    }
    received();
}

TEST_F(HostileBus, AKeyIsServedOrRefused) {
    using Row = std::pair<std::string, int>;
    for (auto const& [key, status] : {Row("x", 0), Row("\xff\x01 /\0"s, 0), Row(std::string(1500, 'k'), 0),
                                      Row(std::string(70'000, '\xff'), 123), Row("", 104), Row("..\n\x1b", 104)}) {
        if (status != 104) {
            answers[key + " Type"] = replyWith("v", "i", 2);
        }
        EXPECT_EQ(serve([&name = key] { return connectOnce(name); }, status), status) << key.substr(0, 10);
        EXPECT_EQ(received(), Strings{});
    }
}

TEST_F(HostileBus, AMessageTooLargeForTheBusAffectsNoOther) {
    auto const write = [&](std::size_t length) {
        Strings texts;
        for (int at = 0; at < 10'000; ++at) {
            texts.emplace_back(length, static_cast<char>('a' + at % 26));
        }
        return serve([&] { return clients->list.write(texts); });
    };
    Strings read;
    EXPECT_EQ(write(48) + serve([&] { return clients->list.read(read); }), 0);
    EXPECT_TRUE(read.size() == 10'000 && read[25] == std::string(48, 'z'));
    EXPECT_EQ(received(), Strings{});
    EXPECT_EQ(write(148), 122);  // The bus has closed the client's connection.
    auto const readList = [&] { return clients->list.readStatus(); };
    serveUntilDone(readList);
    Answer const right = std::exchange(answers["l Value"], replyWithList(Strings(20'000, read[0])));
    EXPECT_EQ(serve(readList), 122);  // The bus has closed the television's connection.
    answers["l Value"] = right;
    restartTelevision();
    serveUntilDone(readList);
    EXPECT_EQ(std::ranges::count(received(),
                                 "ERROR [BUS] l: write failed, status 122: no reply arrived in time, the "
                                 "television may still carry out the call"),
              1);
}

}  // namespace test::hostile_messages_test
