#include <sys/syscall.h>
#include <unistd.h>

#include <barrier>
#include <set>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"

namespace test::facade_test {

using orvane::NRXModelAccess;

using Calls = std::vector<std::pair<std::string, Strings>>;

struct RecordingClient final : orvane::NRXModelAccessClient {
    void onNRXCommandReceived(Strings const& parameters) override { calls.emplace_back("command", parameters); }
    void onNRXEventReceived(Strings const& parameters) override { calls.emplace_back("event", parameters); }
    Calls take() { return std::exchange(calls, {}); }

    Calls calls;
};

/// A television with a facade's lists and action, but without the three strings that the facade's queries read.
class FacadeTest : public TelevisionTest {
public:
    FacadeTest() {
        tv.publish(COMMAND, Strings{});
        tv.publish(EVENT, Strings{});
        tv.publishAction(SOURCE_SWITCH, [this](auto const& arguments) {
            std::string const prefix = "nrx_access_" + std::to_string(syscall(SYS_gettid)) + "_";  // The caller's TID.
            std::string const identifier = arguments.at(0).value;
            EXPECT_EQ(identifier.substr(0, prefix.size()), prefix);
            std::lock_guard const lock(mutex);
            numbers.insert(std::stoi(identifier.substr(prefix.size())));
            requested = arguments;
            return answer;
        });
    }

    /// Changes both lists and returns what the client received.
    Calls received(Strings const& list) {
        tv.set(COMMAND, list);
        tv.set(EVENT, list);
        tv.waitUntilDelivered();
        return client.take();
    }

    std::mutex mutex;
    std::set<int> numbers;  ///< The numbers in the identifiers of the received start requests.
    std::vector<objbus::Argument> requested;
    ActionAnswer answer;
    RecordingClient client;
    std::optional<NRXModelAccess> facade;
};

TEST_F(FacadeTest, ConstructionConnectsNothingAndDestructionReleasesEverything) {
    Lines const destroyed = FACADE.traced("~NRXModelAccess");
    facade.emplace();
    facade.emplace(&client);
    facade.emplace(&client, nullptr, nullptr, nullptr, nullptr, nullptr);  // Null pointers become new access objects.
    EXPECT_EQ(logged(), destroyed + FACADE.traced("NRXModelAccess") + destroyed);
    EXPECT_EQ(tv.lookups(), 0);
    facade->start();
    facade.reset();
    EXPECT_EQ(tv.lookups(), 4);  // Two connects and two disconnects.
}

TEST_F(FacadeTest, StartConnectsTheEventListEvenIfTheCommandListFails) {
    facade.emplace();
    tv.failConnects(COMMAND, {.status = 1, .attempts = 10});
    tv.failConnects(EVENT, {.status = 2, .attempts = 10});
    facade->start();
    EXPECT_EQ(takeSleepMicroseconds().size(), 20U);
    EXPECT_EQ(logged(), FACADE.traced("start", {VALUE.error("connect", "Failed 1"),
                                                FACADE.error("start", "Fail to connect command Value, status: 5"),
                                                VALUE.error("connect", "Failed 2"),
                                                FACADE.error("start", "Fail to connect event Value, status: 5")}));
    facade->start();
    EXPECT_EQ(logged(), FACADE.traced("start", {FACADE.info("start", " connect command Value, status: 0"),
                                                FACADE.info("start", " connect event  Value, status: 0")}));
}

TEST_F(FacadeTest, ListsOfAnyContentArriveWholeUntilDestruction) {
    facade.emplace(&client);
    facade->start();
    facade->startCommandListener();
    logged();
    EXPECT_EQ(received({"a\0b"s, "\xff\xc0", "%s%n"}), (Calls{{"command", {"a\0b"s, "\xff\xc0", "%s%n"}}}));
    EXPECT_EQ(logged().at(4), FACADE.debug("onNRXCommandValueChanged", "parameter 2:   %s%n "));
    refusesLogLinesOfOtherThreads = true;  // Drops the long log lines of the delivery thread.
    for (Strings const& list : {Strings(100'000, "x"), Strings{std::string(16U << 20U, 'y')}}) {
        EXPECT_TRUE((received(list) == Calls{{"command", list}}));
    }
    refusesLogLinesOfOtherThreads = false;
    beforeLogLineOfTestThread = [this] { EXPECT_EQ(received({"late"}), Calls{}); };
    facade.reset();  // The destructor drops lists that arrive while it logs.
}

TEST_F(FacadeTest, TheRelayChecksTheTypeThenTheListenerThenTheClient) {
    ValueObject const list = listOf({ValueObject("x"s), ValueObject(2), ValueObject(true)});
    // The relay writes all its log lines before it calls the client.
    beforeLogLineOfTestThread = [this] { EXPECT_EQ(client.take(), Calls{}); };
    for (bool const command : {true, false}) {
        facade.emplace(&client, nullptr, nullptr, nullptr, nullptr, nullptr);
        logged();
        std::string const name = command ? "onNRXCommandValueChanged" : "onNRXEventValueChanged";
        auto const relayed = [&](ValueObject const& value) {
            command ? facade->onNRXCommandValueChanged(value) : facade->onNRXEventValueChanged(value);
            return logged();
        };
        EXPECT_EQ(relayed(ValueObject(5)), Lines{FACADE.error(name, "Not array type.")});
        EXPECT_EQ(relayed(list), Lines{FACADE.info(name, "Listener Not started, ignore.")});
        command ? facade->startCommandListener() : facade->startEventListener();
        auto const line = [&](std::string const& parameter) { return FACADE.debug(name, "parameter " + parameter); };
        Lines const elements{line("0:   x "), line("1:   2 "), line("2:   TRUE ")};
        EXPECT_EQ(relayed(list), elements);
        EXPECT_EQ(client.take(), (Calls{{command ? "command" : "event", {"x", "2", "TRUE"}}}));
        facade->setClient(nullptr);
        EXPECT_EQ(relayed(list), elements);
        EXPECT_EQ(client.take(), Calls{});
        command ? facade->stopCommandListener() : facade->stopEventListener();
        EXPECT_EQ(relayed(list), Lines{FACADE.info(name, "Listener Not started, ignore.")});
    }
}

TEST_F(FacadeTest, InformationIsReadFromItsOwnKeyAndLogged) {
    using Query = std::tuple<std::string, std::string, std::string (NRXModelAccess::*)(), std::string>;
    facade.emplace();
    for (auto const& [key, name, query, label] :
         {Query{SOFTWARE_VERSION, "getSoftwareVersion", &NRXModelAccess::getSoftwareVersion, "Software Version : "},
          Query{PRODUCTION_TYPE, "getModelname", &NRXModelAccess::getModelname, "Firmware Version : "},
          Query{FEATURE_CODE, "getFeatureCode", &NRXModelAccess::getFeatureCode, "Feature code : "}}) {
        EXPECT_EQ(((*facade).*query)(), "");
        EXPECT_EQ(takeSleepMicroseconds().size(), 10U);
        EXPECT_EQ(logged().back(), FACADE.info(name, label + "."));
        tv.publish(key, name);
        EXPECT_EQ(((*facade).*query)(), name);
        EXPECT_EQ(logged().back(), FACADE.info(name, label + name + "."));
    }
}

TEST_F(FacadeTest, InjectedAccessObjectsAreUsedAndReleasedLast) {
    Lines released;
    auto const noted = [&released]<typename Access>(Access* access) {
        return std::shared_ptr<Access>(access, [&released](Access* last) {
            released.push_back(last->getName());
            delete last;
        });
    };
    using Text = NRXModelAccess::StringAccess;
    using List = NRXModelAccess::StringListAccess;
    facade.emplace(&client, noted(new List(EVENT)), noted(new List(COMMAND)), noted(new Text("version")),
                   noted(new Text("feature")), noted(new Text("production")));
    facade->startCommandListener();
    EXPECT_EQ(received({"no handler"}), Calls{});
    facade->requestStartNRXService();
    beforeLogLineOfTestThread = [&] { released.push_back(std::to_string(tv.counts(SOURCE_SWITCH).disconnects)); };
    facade.reset();  // The destructor disconnects the action between the destructor's two log lines.
    EXPECT_EQ(released, (Lines{"0", "1", "production", "feature", "version", COMMAND, EVENT}));
}

TEST_F(FacadeTest, ListsAreReadAndWrittenByTheirKeyOnly) {
    facade.emplace();
    facade->start();
    logged();
    Strings values{"as it was"};
    auto const expectLines = [&](std::string const& key, Lines const& read, Lines const& written) {
        facade->getAccessValue(key, values);
        EXPECT_EQ(logged(), Lines{FACADE.debug("getAccessValue", "name:" + key)} + read);
        facade->setAccessValue(key, {});
        EXPECT_EQ(logged(), FACADE.traced("setAccessValue", written));
    };
    refusesLogLinesOfOtherThreads = true;
    tv.failReads(EVENT, {42});
    expectLines(COMMAND, {}, BASE.traced("setValue"));
    EXPECT_EQ(values, Strings{});
    expectLines(EVENT, {FACADE.error("getAccessValue", "Error get String value: 42")}, BASE.traced("setValue"));
    for (std::string const& key : {"T" + COMMAND.substr(1), ""s, COMMAND + "x", SOFTWARE_VERSION}) {
        expectLines(key, {FACADE.error("getAccessValue", "Error get String value: 7")},
                    {FACADE.error("setAccessValue", "Error set value :7, " + key)});
    }
}

TEST_F(FacadeTest, AStartRequestSendsItsThreeArguments) {
    std::string const name = "requestStartNRXService";
    std::string const description =
        R"({"id":"nrxservice","name":"nrxservice","pid": "","appType": "bgAppType","url": "","type": "bgAppType"})";
    std::string const unfilled = FACADE.info(name, "actionid: -1");
    std::string const noAction = "Error connect SL2_TVAPI_ACTION_SOURCE_SWITCH,  status: 5";
    facade.emplace();
    for (auto const& [given, lines] :
         std::vector<std::pair<ActionAnswer, Lines>>{{{0, 41U, {}}, {FACADE.info(name, "actionid: 41")}},
                                                     {{}, {unfilled}},
                                                     {{3, {}, {}}, {unfilled, FACADE.error(name, "error: 3")}}}) {
        answer = given;
        facade->requestStartNRXService();
        EXPECT_EQ(logged(), FACADE.traced(name, lines));
        Strings records;
        for (auto const& [tag, index, flags, value] : requested) {
            records.push_back(std::to_string(tag) + std::to_string(index) + std::to_string(flags) + value);
        }
        EXPECT_EQ(records, (Strings{"000" + requested[0].value, "01012", "020" + description}));
    }
    facade.emplace();
    EXPECT_EQ(std::pair(tv.counts(SOURCE_SWITCH).connectAttempts, tv.counts(SOURCE_SWITCH).disconnects),
              std::pair(1, 1));
    logged();
    tv.failConnects(SOURCE_SWITCH, {.status = 9, .attempts = 1});
    facade->requestStartNRXService();
    EXPECT_EQ(logged(), FACADE.traced(name, {ACTION.error("connect", "Failed 9"), FACADE.error(name, noAction)}));
    EXPECT_EQ(takeSleepMicroseconds().size(), 1U);
    facade->requestStartNRXService();
    EXPECT_EQ(numbers.size(), 4U);
    EXPECT_EQ(*numbers.rbegin() - *numbers.begin(), 3);  // No number was skipped at the failed connect.
}

TEST_F(FacadeTest, ConcurrentStartRequestsShareOneActionAndRepeatNoNumber) {
    constexpr int ROUNDS = 200;
    // Each round has a new facade, whose first request connects the action.
    std::barrier round(4, [this]() noexcept { facade.emplace(); });
    auto const request = [&] {
        for (int done = 0; done < ROUNDS; ++done) {
            round.arrive_and_wait();
            facade->requestStartNRXService();
        }
    };
    {
        std::jthread const threads[] = {std::jthread(request), std::jthread(request), std::jthread(request)};
        request();
    }
    EXPECT_EQ(numbers.size(), 4U * ROUNDS);
    EXPECT_EQ(*numbers.rbegin() - *numbers.begin(), 4 * ROUNDS - 1);
    EXPECT_EQ(tv.counts(SOURCE_SWITCH).connectAttempts, ROUNDS);
}

}  // namespace test::facade_test
