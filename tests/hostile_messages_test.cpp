// An operation that receives a wrong reply ends with a status. A wrong signal is dropped. Later messages are received.

#include "hostile_bus.h"

namespace test::hostile_messages_test {

/// A method of the television, and a function that lets a client call this method and returns the client's status.
struct Operation {
    char const* method;
    int (*perform)(Clients& clients);
};
constexpr Operation CONNECT{"x Type", [](auto& /*clients*/) { return connectAndDisconnect("x"); }};
constexpr Operation CONNECT_NUMBER{"y Value", [](auto& /*clients*/) { return connectAndDisconnect("y"); }};
constexpr Operation READ{"l Value", [](auto& clients) { return clients.list.statusOfRead(); }};
// A failed read of a number returns the last received value, which is 7.
constexpr Operation READ_NUMBER{"n Value", [](auto& clients) { return clients.number.read() - 7; }};
constexpr Operation WRITE{"Set", [](auto& clients) { return clients.list.write({"new"}); }};
constexpr Operation INVOKE{"Invoke", invoke};
constexpr Operation ITERATE{"CreateIterator", [](auto& clients) {
                                TableIterator* const made = clients.createIterator();
                                return made != nullptr ? clients.table->destroyIterator(made) : -1;
                            }};
constexpr Operation LIST_ALL{"GetManagedObjects", listObjectsOfBus};
constexpr Operation SYNCHRONIZE{SYNC_METHOD, syncWithTelevision};

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
          replyWith("o", bus::MODEL_PATH)}},  // Neither path is an iterator's.
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
            Answer const right = std::exchange(answersByMethod[operation.method], answer);
            EXPECT_EQ(serveRetryingTimeouts(perform, isIterator ? -1 : status), isIterator ? -1 : status);
            answersByMethod[operation.method] = right;
            std::string const what = isIterator ? "r: createIterator" : "l: write";
            std::string const line = "ERROR [BUS] " + what + " failed, status " + std::to_string(status) + ": ";
            bool const isLogged = (operation.method == WRITE.method && status != 0) || status == 109;
            EXPECT_THAT(received(),
                        ::testing::ElementsAreArray(std::vector(isLogged ? 1 : 0, ::testing::StartsWith(line))));
            EXPECT_EQ(serveRetryingTimeouts(perform, 0), 0);
        }
    }
}

TEST_F(HostileBus, InvalidSignalsAndSendersAreIgnored) {
    auto const& MODEL = bus::MODEL_PATH;
    auto const& OBJECT = bus::OBJECT_INTERFACE;
    constexpr char NOTHING[] = "/nrx/Television1/model/nothing";
    bus::Bus stranger;
    ASSERT_GE(bus::startBusConnection(stranger, bus::findBusAddressInEnvironment()), 0);
    char const* name = nullptr;
    ASSERT_GE(sd_bus_get_unique_name(stranger.get(), &name), 0);
    std::vector<Signal> signals(std::begin(VALID_SIGNALS), std::end(VALID_SIGNALS));
    signals.push_back({MODEL, OBJECT_MANAGER_INTERFACE, INTERFACES_REMOVED, makeBody("oas", LIST_PATH, 1, OBJECT)});
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
        send({MODEL, OBJECT_MANAGER_INTERFACE, INTERFACES_REMOVED, body});
        send({MODEL, OBJECT_MANAGER_INTERFACE, "InterfacesAdded", body});
        send({NOTHING, PROPERTIES_INTERFACE, PROPERTIES_CHANGED, body});
        send({LIST_PATH, OBJECT_MANAGER_INTERFACE, INTERFACES_REMOVED, makeBody("oas", LIST_PATH, 1, OBJECT)});
    }
    send({LIST_PATH, PROPERTIES_INTERFACE, PROPERTIES_CHANGED,
          makeBody("sa{sv}as", LIST_INTERFACE, 1, "Other", "s", "x", 1, "Other")});
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

}  // namespace test::hostile_messages_test
