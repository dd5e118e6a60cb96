#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <thread>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"
#include "tools/nrx_console/sysroot.h"

namespace test {
namespace {

using namespace orvane::system::support;
using namespace std::string_literals;
using orvane::NRXModelAccess;
using simulator::ActionAnswer;

constexpr char COMMAND[] = "torvi.sl2.vstr.videoplayer.nrx.command";
constexpr char EVENT[] = "torvi.sl2.vstr.videoplayer.nrx.event";
constexpr char SOFTWARE_VERSION[] = "torvi.sl2.str.orvfactory.software.version";
constexpr char PRODUCTION_TYPE[] = "torvi.sl2.str.orvfactory.production.type";
constexpr char FEATURE_CODE[] = "torvi.sl2.str.basic.settings.tv.featurecode";
constexpr char SOURCE_SWITCH[] = "torvi.sl2.action.source.switch";
constexpr char FACADE[] = "nrx_model_access.cpp";

class RecordingClient final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(std::vector<std::string> const& parameters) override { add("command", parameters); }
    void onNRXEventReceived(std::vector<std::string> const& parameters) override { add("event", parameters); }

    std::vector<std::string> take() { return std::exchange(calls_, {}); }

private:
    void add(std::string call, std::vector<std::string> const& parameters) {
        for (std::string const& parameter : parameters) {
            call += " " + parameter;
        }
        calls_.push_back(call);
    }

    std::vector<std::string> calls_;
};

class FacadeTest : public TelevisionTest {
public:
    void publishLists() {
        tv.publish(COMMAND, std::vector<std::string>{});
        tv.publish(EVENT, std::vector<std::string>{});
    }

    /// Changes the value and returns what the client heard of it.
    std::vector<std::string> heardOf(char const* key, std::vector<std::string> list) {
        tv.set(key, std::move(list));
        tv.waitUntilDelivered();
        return client.take();
    }

    RecordingClient client;
};

TEST_F(FacadeTest, ConstructionConnectsNothingAndDestructionReleasesInReverseOrder) {
    std::optional<NRXModelAccess> facade;
    facade.emplace();
    EXPECT_EQ(logged(), Lines{});
    facade.reset();
    EXPECT_EQ(logged(), traced(FACADE, "~NRXModelAccess"));
    facade.emplace(&client);
    EXPECT_EQ(logged(), traced(FACADE, "NRXModelAccess"));
    facade.emplace(&client, nullptr, nullptr, nullptr, nullptr, nullptr);  // Fresh objects stand in for the null ones.
    EXPECT_EQ(logged(), traced(FACADE, "~NRXModelAccess"));
    EXPECT_EQ(tv.lookups(), 0);
    publishLists();
    tv.publish(PRODUCTION_TYPE, "model"s);
    EXPECT_EQ(facade->getModelname(), "model");
    facade->start();
    facade.reset();
    EXPECT_EQ(tv.counts(PRODUCTION_TYPE).disconnects, 1);
    EXPECT_EQ(tv.counts(COMMAND).disconnects, 1);
    EXPECT_EQ(tv.counts(EVENT).disconnects, 1);
    EXPECT_EQ(tv.counts(SOURCE_SWITCH).disconnects, 0);
}

TEST_F(FacadeTest, StartConnectsBothListsWhateverBecomesOfTheFirst) {
    NRXModelAccess facade;
    Lines const failure{error("value_access.cpp", "connect", "Failed 1")};
    tv.failConnects(COMMAND, {.status = 1});
    tv.failConnects(EVENT, {.status = 1});
    facade.start();
    EXPECT_EQ(takeSleeps().size(), 20U);
    EXPECT_EQ(logged(), traced(FACADE, "start",
                               joined({failure,
                                       {error(FACADE, "start", "Fail to connect command Value, status: 5")},
                                       failure,
                                       {error(FACADE, "start", "Fail to connect event Value, status: 5")}})));
    publishLists();
    tv.failConnects(COMMAND, {.attempts = 0});
    tv.failConnects(EVENT, {.attempts = 0});
    facade.start();
    EXPECT_EQ(logged(), traced(FACADE, "start",
                               {info(FACADE, "start", " connect command Value, status: 0"),
                                info(FACADE, "start", " connect event  Value, status: 0")}));
    EXPECT_EQ(tv.counts(SOFTWARE_VERSION).connectAttempts, 0);
}

TEST_F(FacadeTest, ListsReachTheClientWhileTheirListenerIsOn) {
    publishLists();
    NRXModelAccess facade(&client);
    facade.start();
    EXPECT_EQ(heardOf(COMMAND, {"early"}), Lines{});
    facade.startCommandListener();
    EXPECT_EQ(heardOf(COMMAND, {"a", "b"}), Lines{"command a b"});
    EXPECT_EQ(heardOf(EVENT, {"c"}), Lines{});
    facade.startEventListener();
    facade.stopCommandListener();
    EXPECT_EQ(heardOf(COMMAND, {"late"}), Lines{});
    EXPECT_EQ(heardOf(EVENT, {}), Lines{"event"});
    facade.stopEventListener();
    EXPECT_EQ(heardOf(EVENT, {"late"}), Lines{});
    facade.startEventListener();
    facade.setClient(nullptr);
    EXPECT_EQ(heardOf(EVENT, {"unheard"}), Lines{});
    facade.setClient(&client);
    EXPECT_EQ(heardOf(EVENT, {"heard"}), Lines{"event heard"});
}

TEST_F(FacadeTest, TheRelayChecksTheTypeThenTheListenerThenTheClient) {
    struct Relay {
        char const* name;
        void (NRXModelAccess::*notify)(IValueObject const&);
        void (NRXModelAccess::*startListener)();
        std::string heard;
    };
    ValueObject list;
    list.typeTag = VALUE_VECTOR;
    list.elements = {ValueObject("x"s), ValueObject(2), ValueObject(true)};
    for (auto const& [name, notify, startListener, heard] :
         {Relay{"onNRXCommandValueChanged", &NRXModelAccess::onNRXCommandValueChanged,
                &NRXModelAccess::startCommandListener, "command"},
          Relay{"onNRXEventValueChanged", &NRXModelAccess::onNRXEventValueChanged, &NRXModelAccess::startEventListener,
                "event"}}) {
        NRXModelAccess facade(&client);
        logged();
        Lines const wrongType{error(FACADE, name, "Not array type.")};
        (facade.*notify)(ValueObject(5));
        EXPECT_EQ(logged(), wrongType);
        (facade.*notify)(list);
        EXPECT_EQ(logged(), Lines{info(FACADE, name, "Listener Not started, ignore.")});
        (facade.*startListener)();
        (facade.*notify)(ValueObject("text"s));
        EXPECT_EQ(logged(), wrongType);
        EXPECT_EQ(client.take(), Lines{});
        for (bool const hasClient : {true, false}) {
            facade.setClient(hasClient ? &client : nullptr);
            (facade.*notify)(list);
            EXPECT_EQ(logged(),
                      (Lines{debug(FACADE, name, "parameter 0:   x "), debug(FACADE, name, "parameter 1:   2 "),
                             debug(FACADE, name, "parameter 2:   TRUE ")}));
            EXPECT_EQ(client.take(), hasClient ? Lines{heard + " x 2 TRUE"} : Lines{});
        }
    }
}

class OverridingFacade : public NRXModelAccess {
public:
    using NRXModelAccess::NRXModelAccess;
    void onNRXCommandValueChanged(IValueObject const& value) override { text = value.convertToStringType(); }
    std::string text;
};

TEST_F(FacadeTest, ADerivedFacadeReceivesTheValues) {
    publishLists();
    OverridingFacade facade(&client);
    facade.start();
    heardOf(COMMAND, {"a", "b"});
    EXPECT_EQ(facade.text, "[a,b]");
}

TEST_F(FacadeTest, InformationIsReadFromItsOwnKeyAndLogged) {
    struct Query {
        char const* key;
        char const* name;
        std::string (NRXModelAccess::*query)();
        std::string label;
    };
    Query const queries[] = {
        {SOFTWARE_VERSION, "getSoftwareVersion", &NRXModelAccess::getSoftwareVersion, "Software Version : "},
        {PRODUCTION_TYPE, "getModelname", &NRXModelAccess::getModelname, "Firmware Version : "},
        {FEATURE_CODE, "getFeatureCode", &NRXModelAccess::getFeatureCode, "Feature code : "},
    };
    NRXModelAccess facade;
    for (auto const& [key, name, query, label] : queries) {
        EXPECT_EQ((facade.*query)(), "");
        EXPECT_EQ(takeSleeps().size(), 10U);
        EXPECT_EQ(logged().back(), info(FACADE, name, label + "."));
        tv.publish(key, 5);
        EXPECT_EQ((facade.*query)(), "");
        tv.publish(key, "text of "s + name);
        EXPECT_EQ((facade.*query)(), "text of "s + name);
        EXPECT_EQ(logged().back(), info(FACADE, name, label + "text of " + name + "."));
    }
}

TEST_F(FacadeTest, InjectedObjectsAreUsedInTheirPlacesAndLiveOn) {
    tv.publish("version", "v"s);
    tv.publish("feature", "f"s);
    tv.publish("production", "p"s);
    auto const command = std::make_shared<NRXModelAccess::StringListAccess>("injected.command");
    auto const production = std::make_shared<NRXModelAccess::StringAccess>("production");
    tv.publish("injected.command", std::vector<std::string>{"c"});
    {
        NRXModelAccess facade(&client, command, std::make_shared<NRXModelAccess::StringListAccess>("injected.event"),
                              std::make_shared<NRXModelAccess::StringAccess>("version"),
                              std::make_shared<NRXModelAccess::StringAccess>("feature"), production);
        EXPECT_EQ(facade.getSoftwareVersion(), "v");
        EXPECT_EQ(facade.getFeatureCode(), "f");
        EXPECT_EQ(facade.getModelname(), "p");
        std::vector<std::string> values;
        facade.getAccessValue(COMMAND, values);
        EXPECT_EQ(values, std::vector{"c"s});
        facade.getAccessValue(EVENT, values);
        EXPECT_EQ(tv.counts("injected.event").connectAttempts, 10);
        facade.startCommandListener();
        EXPECT_EQ(heardOf("injected.command", {"no handler"}), Lines{});
    }
    std::string text;
    EXPECT_EQ(production->getValue(text), 0);
    EXPECT_EQ(tv.counts("production").disconnects, 0);
    EXPECT_EQ(tv.counts("version").disconnects, 1);
}

/// A file tree that stands for the television's own, for the length of a test.
class DeviceFiles {
public:
    DeviceFiles() : root_(std::filesystem::path(testing::TempDir()) / ("nrx_tests_" + std::to_string(getpid()))) {
        std::filesystem::create_directories(root_);
        nrx_console::setSysroot(root_.string());
    }
    DeviceFiles(DeviceFiles const&) = delete;
    DeviceFiles& operator=(DeviceFiles const&) = delete;
    ~DeviceFiles() {
        nrx_console::setSysroot("");
        std::filesystem::remove_all(root_);
    }

    /// Empty: no such file.
    void put(char const* path, std::optional<std::string> const& content) const {
        auto const file = root_ / (path + 1);
        std::filesystem::remove(file);
        if (content) {
            std::filesystem::create_directories(file.parent_path());
            std::ofstream(file, std::ios::binary) << *content;
        }
    }

private:
    std::filesystem::path root_;
};

TEST_F(FacadeTest, TheDeviceIdentifierIsReadFromTheFirstFileThatOpens) {
    constexpr char FIRST[] = "/APPS/deviceserial/deviceId";
    constexpr char SECOND[] = "/var/local/applications/UI/deviceId";
    std::string const firstMissing = error(FACADE, "getDeviceID", "Error opening "s + FIRST + ", try default location");
    std::string const secondMissing = error(FACADE, "getDeviceID", "Error opening "s + SECOND);
    auto const unread = [](char const* path) { return error(FACADE, "getDeviceID", "Error reading "s + path); };
    struct Row {
        std::optional<std::string> first;
        std::optional<std::string> second;
        std::string id;
        Lines lines;
    };
    std::vector<Row> const rows{
        {"abc\n", "other", "abc\n", {}},
        {"ab\0c"s, "other", "ab", {}},
        {"\0c"s, "other", "", {}},
        {std::string(1023, 'x'), {}, std::string(1023, 'x'), {}},
        {std::string(2000, 'x'), {}, std::string(1023, 'x'), {}},
        {"", "other", "", {unread(FIRST)}},
        {{}, "other", "other", {firstMissing}},
        {{}, "", "", {firstMissing, unread(SECOND)}},
        {{}, {}, "", {firstMissing, secondMissing}},
    };
    DeviceFiles const files;
    NRXModelAccess facade;
    for (Row const& row : rows) {
        files.put(FIRST, row.first);
        files.put(SECOND, row.second);
        EXPECT_EQ(facade.getDeviceID(), row.id);
        EXPECT_EQ(logged(), row.lines);
    }
}

TEST_F(FacadeTest, ListsAreReadAndWrittenByTheirKeyOnly) {
    publishLists();
    NRXModelAccess facade(&client);
    facade.startCommandListener();
    ownLinesOnly = true;
    logged();
    for (std::string const& key : {std::string(COMMAND), std::string(EVENT)}) {
        facade.setAccessValue(key, {"to", key});
        EXPECT_EQ(logged(), traced(FACADE, "setAccessValue",
                                   traced("value_access_base.cpp", "setValue",
                                          {info("value_access_base.cpp", "tryConnectIfNeeded",
                                                "BizValue connect successfully:'" + key + "'.")})));
        std::vector<std::string> values;
        facade.getAccessValue(key, values);
        EXPECT_EQ(values, (std::vector<std::string>{"to", key}));
        EXPECT_EQ(logged(), Lines{debug(FACADE, "getAccessValue", "name:" + key)});
    }
    tv.waitUntilDelivered();
    EXPECT_EQ(client.take(), Lines{"command to "s + COMMAND});  // The writer hears its own change.
    facade.setAccessValue(COMMAND, {});
    EXPECT_EQ(tv.get(COMMAND), simulator::Value(std::vector<std::string>{}));
    logged();

    std::string const wrongCase = "T" + std::string(COMMAND + 1);
    for (std::string const& key : {wrongCase, ""s, COMMAND + "x"s, std::string(SOFTWARE_VERSION)}) {
        std::vector<std::string> values{"kept"};
        facade.getAccessValue(key, values);
        EXPECT_EQ(values, std::vector{"kept"s});
        EXPECT_EQ(logged(), (Lines{debug(FACADE, "getAccessValue", "name:" + key),
                                   error(FACADE, "getAccessValue", "Error get String value: 7")}));
        facade.setAccessValue(key, {"lost"});
        EXPECT_EQ(logged(),
                  traced(FACADE, "setAccessValue", {error(FACADE, "setAccessValue", "Error set value :7, " + key)}));
    }
}

TEST_F(FacadeTest, AFailedReadByKeyKeepsTheListAndLogsTheStatus) {
    NRXModelAccess facade;
    for (int const status : {5, 6}) {
        if (status == 6) {
            tv.publish(COMMAND, "not a list"s);
        }
        std::vector<std::string> values{"kept"};
        facade.getAccessValue(COMMAND, values);
        EXPECT_EQ(values, std::vector{"kept"s});
        EXPECT_EQ(logged().back(),
                  error(FACADE, "getAccessValue", "Error get String value: " + std::to_string(status)));
        facade.setAccessValue(COMMAND, {});
        Lines const lines = logged();
        EXPECT_EQ(lines.at(lines.size() - 2),
                  error(FACADE, "setAccessValue", "Error set value :" + std::to_string(status) + ", " + COMMAND));
    }
}

/// The request's number in its identifier, which must carry the given thread.
int requestNumber(std::string const& identifier, long thread) {
    std::string const prefix = "nrx_access_" + std::to_string(thread) + "_";
    EXPECT_EQ(identifier.substr(0, prefix.size()), prefix);
    return std::stoi(identifier.substr(prefix.size()));
}

TEST_F(FacadeTest, AStartRequestSendsItsThreeArguments) {
    constexpr char NAME[] = "requestStartNRXService";
    constexpr char DESCRIPTION[] =
        "{\"id\":\"nrxservice\",\"name\":\"nrxservice\",\"pid\": \"\",\"appType\": "
        "\"bgAppType\",\"url\": \"\",\"type\": \"bgAppType\"}";
    std::vector<objbus::Argument> received;
    ActionAnswer answer;
    std::optional<NRXModelAccess> facade(std::in_place);
    tv.failConnects(SOURCE_SWITCH, {.status = 1});
    facade->requestStartNRXService();
    EXPECT_EQ(takeSleeps().size(), 1U);
    EXPECT_EQ(logged(), traced(FACADE, NAME,
                               {error("action_access.cpp", "connect", "Failed 1"),
                                error(FACADE, NAME, "Error connect SL2_TVAPI_ACTION_SOURCE_SWITCH,  status: 5")}));
    tv.failConnects(SOURCE_SWITCH, {.attempts = 0});
    tv.publishAction(SOURCE_SWITCH, [&](auto const& arguments) {
        received = arguments;
        return answer;
    });
    struct Row {
        ActionAnswer answer;
        Lines lines;
    };
    int number = 0;
    for (auto const& [given, lines] : {Row{{.actionId = 41, .outcome = {}}, {info(FACADE, NAME, "actionid: 41")}},
                                       Row{{}, {info(FACADE, NAME, "actionid: -1")}},
                                       Row{{.status = 3, .actionId = {}, .outcome = {}},
                                           {info(FACADE, NAME, "actionid: -1"), error(FACADE, NAME, "error: 3")}}}) {
        answer = given;
        facade->requestStartNRXService();
        EXPECT_EQ(logged(), traced(FACADE, NAME, lines));
        ASSERT_EQ(received.size(), 3U);
        for (int position = 0; position < 3; ++position) {
            auto const& argument = received[static_cast<std::size_t>(position)];
            EXPECT_EQ(argument.index, position);
            EXPECT_EQ(argument.tag, 0);
            EXPECT_EQ(argument.flags, 0);
        }
        int const next = requestNumber(received[0].value, syscall(SYS_gettid));
        EXPECT_TRUE(number == 0 || next == number + 1);
        number = next;
        EXPECT_EQ(received[1].value, "12");
        EXPECT_EQ(received[2].value, DESCRIPTION);
    }
    auto const description = nlohmann::json::parse(received[2].value);
    EXPECT_EQ(description, (nlohmann::json{{"id", "nrxservice"},
                                           {"name", "nrxservice"},
                                           {"pid", ""},
                                           {"appType", "bgAppType"},
                                           {"url", ""},
                                           {"type", "bgAppType"}}));
    EXPECT_EQ(tv.counts(SOURCE_SWITCH).connectAttempts, 2);  // The failed one, and one for all later requests.
    facade.reset();
    EXPECT_EQ(tv.counts(SOURCE_SWITCH).disconnects, 1);

    NRXModelAccess other;
    other.requestStartNRXService();
    EXPECT_EQ(requestNumber(received[0].value, syscall(SYS_gettid)), number + 1);
}

TEST_F(FacadeTest, ConcurrentStartRequestsShareOneActionAndRepeatNoNumber) {
    constexpr int THREADS = 4;
    constexpr int REQUESTS = 25;
    std::mutex mutex;
    std::set<int> numbers;
    tv.publishAction(SOURCE_SWITCH, [&](auto const& arguments) {
        std::lock_guard const lock(mutex);
        numbers.insert(requestNumber(arguments.at(0).value, syscall(SYS_gettid)));
        return ActionAnswer{};
    });
    NRXModelAccess facade;
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&facade] {
            for (int request = 0; request < REQUESTS; ++request) {
                facade.requestStartNRXService();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(THREADS * REQUESTS));
    EXPECT_EQ(*numbers.rbegin() - *numbers.begin(), THREADS * REQUESTS - 1);
    EXPECT_EQ(tv.counts(SOURCE_SWITCH).connectAttempts, 1);
}

/// Destroys the facade from inside a call, and hears of nothing afterwards.
class DestroyingClient final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(std::vector<std::string> const& /*parameters*/) override {
        ++calls;
        facade.reset();
    }
    void onNRXEventReceived(std::vector<std::string> const& /*parameters*/) override { ++calls; }

    std::unique_ptr<NRXModelAccess> facade = std::make_unique<NRXModelAccess>(this);
    int calls = 0;
};

TEST_F(FacadeTest, AClientMayDestroyTheFacadeFromInsideItsCall) {
    publishLists();
    tv.publishAction(SOURCE_SWITCH, [](auto const&) { return ActionAnswer{}; });
    DestroyingClient destroying;
    destroying.facade->start();
    destroying.facade->startCommandListener();
    destroying.facade->startEventListener();
    destroying.facade->requestStartNRXService();
    for (int change = 0; change < 10; ++change) {
        tv.set(COMMAND, std::vector{std::to_string(change)});
        tv.set(EVENT, std::vector{std::to_string(change)});
    }
    tv.waitUntilDelivered();
    EXPECT_EQ(destroying.facade, nullptr);
    EXPECT_EQ(destroying.calls, 1);
    EXPECT_EQ(tv.counts(COMMAND).disconnects + tv.counts(EVENT).disconnects + tv.counts(SOURCE_SWITCH).disconnects, 3);
}

TEST_F(FacadeTest, AFacadeMayBeDestroyedWhileListsPourIn) {
    publishLists();
    std::atomic<bool> pouring = true;
    std::thread television([this, &pouring] {
        for (int change = 0; pouring; ++change) {
            tv.set(change % 2 == 0 ? COMMAND : EVENT, std::vector{std::to_string(change)});
        }
    });
    for (int round = 0; round < 50; ++round) {
        auto ownClient = std::make_unique<RecordingClient>();
        auto facade = std::make_unique<NRXModelAccess>(ownClient.get());
        facade->startCommandListener();
        facade->startEventListener();
        facade->start();
        logged();
        facade.reset();
        ownClient.reset();  // Nothing calls it any more.
    }
    pouring = false;
    television.join();
}

/// Waits inside its call until it is told to go on.
class WaitingClient final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(std::vector<std::string> const& /*parameters*/) override {
        entered.raise();
        goOn.wait();
        returned = true;
    }
    void onNRXEventReceived(std::vector<std::string> const& /*parameters*/) override {}

    Signal entered;
    Signal goOn;
    std::atomic<bool> returned = false;
};

TEST_F(FacadeTest, DestructionWaitsForTheCallThatIsRunning) {
    publishLists();
    WaitingClient waiting;
    auto facade = std::make_unique<NRXModelAccess>(&waiting);
    facade->start();
    facade->startCommandListener();
    tv.set(COMMAND, std::vector{"running"s});
    waiting.entered.wait();
    tv.set(COMMAND, std::vector{"dropped"s});
    std::thread release([this, &waiting] {
        while (tv.counts(EVENT).disconnects == 0) {  // The destructor is under way.
            std::this_thread::yield();
        }
        waiting.goOn.raise();
    });
    facade.reset();
    EXPECT_TRUE(waiting.returned);
    release.join();
    tv.waitUntilDelivered();
}

}  // namespace
}  // namespace test
