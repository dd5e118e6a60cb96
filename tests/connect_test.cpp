// What the connects of values, actions and tables have in common.

#include <functional>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "support.h"

namespace test {
namespace {

using namespace orvane::system::support;
using simulator::RootLookup;

constexpr char KEY[] = "test.key";
constexpr char ROOT_REFUSED[] = "get interface Reference failed.\n";

struct Kind {
    char const* name;
    char const* file;
    std::function<std::unique_ptr<ValueAccessBase>(std::string const& key)> make;
    std::function<void(simulator::Television&)> publish;
};

template <typename Access>
std::unique_ptr<ValueAccessBase> makeAccess(std::string const& key) {
    return std::make_unique<Access>(key);
}

Kind const kinds[] = {
    {"Value", "value_access.cpp", makeAccess<ValueAccessT<objbus::ObserverString>>,
     [](auto& tv) { tv.publish(KEY, std::string("text")); }},
    {"Action", "action_access.cpp", makeAccess<ActionAccess>,
     [](auto& tv) { tv.publishAction(KEY, [](auto const&) { return simulator::ActionAnswer{}; }); }},
    {"Table", "table_access.cpp", makeAccess<TableAccess>, [](auto& tv) { tv.publishTable(KEY, {}); }},
};

class ConnectTest : public TelevisionTest, public ::testing::WithParamInterface<Kind> {
public:
    std::string failed(int status) const {
        return error(GetParam().file, "connect", "Failed " + std::to_string(status));
    }

    std::unique_ptr<ValueAccessBase> access = GetParam().make(KEY);
};

INSTANTIATE_TEST_SUITE_P(Kinds, ConnectTest, ::testing::ValuesIn(kinds),
                         [](auto const& kind) { return kind.param.name; });

TEST_P(ConnectTest, TheBudgetDecidesAttemptsAndSleeps) {
    struct Row {
        int budgetMs;
        int attempts;
        std::size_t sleeps;
    };
    tv.failConnects(KEY, {.status = 33});
    for (auto const& [budgetMs, attempts, sleeps] :
         {Row{-5, 1, 0}, {0, 1, 0}, {50, 1, 1}, {150, 2, 2}, {1000, 10, 10}}) {
        SCOPED_TRACE(budgetMs);
        int const before = tv.counts(KEY).connectAttempts;
        EXPECT_EQ(access->connect(budgetMs), 5);
        EXPECT_EQ(tv.counts(KEY).connectAttempts - before, attempts);
        EXPECT_EQ(takeSleeps(), std::vector<unsigned int>(sleeps, 100000));
        EXPECT_EQ(logged(), Lines{failed(33)});
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);
}

TEST_P(ConnectTest, OnlyStatusZeroWithAnObjectIsASuccess) {
    GetParam().publish(tv);
    tv.failConnects(KEY, {.status = 0});
    EXPECT_EQ(access->connect(0), 5);
    tv.failConnects(KEY, {.status = 4, .handsOutObject = true});
    EXPECT_EQ(access->connect(0), 5);
    EXPECT_EQ(logged(), (Lines{failed(0), failed(4)}));
    EXPECT_EQ(access->getType(), objbus::OBJECT_TYPE_NONE);
    EXPECT_EQ(logged(), Lines{error("value_access_base.cpp", "getType",
                                    "Unknown Type since value is not connected  : test.key.")});
}

TEST_P(ConnectTest, AnObjectThatBecomesAvailableIsTaken) {
    GetParam().publish(tv);
    tv.failConnects(KEY, {.status = 4, .attempts = 3});
    EXPECT_EQ(access->connect(400), 0);
    EXPECT_EQ(takeSleeps().size(), 3U);
    EXPECT_EQ(tv.counts(KEY).connectAttempts, 4);
    EXPECT_EQ(logged(), Lines{});
    EXPECT_EQ(access->disconnect(), 0);
}

TEST_P(ConnectTest, AConnectedObjectIsNotAskedForAgainButKeepsTheNewBudget) {
    GetParam().publish(tv);
    EXPECT_EQ(access->connect(0), 0);
    EXPECT_EQ(access->connect(250), 0);
    EXPECT_EQ(tv.counts(KEY).connectAttempts, 1);
    EXPECT_EQ(tv.lookups(), 1);
    EXPECT_EQ(access->disconnect(), 0);
    tv.withdraw(KEY);
    int number = 0;
    EXPECT_EQ(access->getValue(number), 5);
    EXPECT_EQ(takeSleeps().size(), 3U);
}

TEST_P(ConnectTest, DisconnectReachesTheModelAlsoWithoutAnObject) {
    EXPECT_EQ(access->disconnect(), 0);
    EXPECT_EQ(tv.counts(KEY).disconnectsWithoutObject, 1);
    GetParam().publish(tv);
    access->connect(0);
    EXPECT_NE(access->getType(), objbus::OBJECT_TYPE_NONE);
    EXPECT_EQ(access->disconnect(), 0);
    EXPECT_EQ(access->getType(), objbus::OBJECT_TYPE_NONE);
    EXPECT_EQ(tv.counts(KEY).disconnects, 2);
    EXPECT_EQ(tv.counts(KEY).disconnectsWithoutObject, 1);
    EXPECT_EQ(tv.lookups(), 3);
}

TEST_P(ConnectTest, WithoutARootInterfaceNothingIsWaitedForOrCrashes) {
    GetParam().publish(tv);
    for (auto const answer : {RootLookup::refused, RootLookup::emptyReference, RootLookup::nullObject}) {
        SCOPED_TRACE(static_cast<int>(answer));
        access->connect(0);
        logged();
        tv.setRootLookup(answer);
        testing::internal::CaptureStdout();
        EXPECT_EQ(access->disconnect(), 0);
        EXPECT_EQ(access->connect(1000), 5);
        std::fflush(stdout);
        std::string const refusals = answer == RootLookup::nullObject ? "" : std::string(ROOT_REFUSED) + ROOT_REFUSED;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), refusals);
        EXPECT_EQ(logged(), Lines{failed(5)});
        EXPECT_TRUE(takeSleeps().empty());
        tv.setRootLookup(RootLookup::published);
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);
}

struct Observed {
    std::string name;
    char const* file;
    std::function<std::unique_ptr<ValueAccessBase>(std::string const& key)> make;
    objbus::ObjectTypeSpec type;
};

Observed const observers[] = {
    {"ObserverNumericInteger", "value_access.cpp", makeAccess<ValueAccessT<objbus::ObserverNumericInteger>>,
     objbus::OBJECT_TYPE_NUMERIC_INTEGER},
    {"ObserverString", "value_access.cpp", makeAccess<ValueAccessT<objbus::ObserverString>>,
     objbus::OBJECT_TYPE_STRING},
    {"ObserverVectorNumericInteger", "value_access.cpp", makeAccess<ValueAccessT<objbus::ObserverVectorNumericInteger>>,
     objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER},
    {"ObserverVectorString", "value_access.cpp", makeAccess<ValueAccessT<objbus::ObserverVectorString>>,
     objbus::OBJECT_TYPE_VECTOR_STRING},
    {"ObserverAction", "action_access.cpp", makeAccess<ActionAccess>, objbus::OBJECT_TYPE_ACTION},
    {"ObserverNumericInt64", "value_access.cpp", makeAccess<ValueAccessT<objbus::ObserverNumericInt64>>,
     objbus::OBJECT_TYPE_NUMERIC_INT64},
};

TEST_F(TelevisionTest, AnObjectOfAnotherTypeIsGivenBack) {
    for (int type = 0; type <= 9; ++type) {
        tv.publishBare(KEY, static_cast<objbus::ObjectTypeSpec>(type));
        for (Observed const& observer : observers) {
            SCOPED_TRACE(observer.name + " on " + std::to_string(type));
            auto const access = observer.make(KEY);
            bool const matches = observer.type == type;
            EXPECT_EQ(access->connect(0), matches ? 0 : 6);
            Lines const mismatch{error(
                observer.file, "connect",
                "Observer Type not match for test.key,( " + std::to_string(type) + " ) vs " + observer.name + " ")};
            EXPECT_EQ(logged(), matches ? Lines{} : mismatch);
            access->disconnect();
        }
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 10 * 6 + 9 * 6);  // Each disconnect above, and each object given back:
    EXPECT_EQ(tv.counts(KEY).disconnectsWithoutObject, 9 * 6);
}

TEST_F(TelevisionTest, AValueKeyedMissingIsNeverAskedFor) {
    ValueAccessT<objbus::ObserverNumericInteger> access("missing");
    Lines const missing{error("value_access.cpp", "connect", "Value is 'missing'.")};
    EXPECT_EQ(access.connect(0), 8);
    EXPECT_EQ(logged(), missing);
    int number = 7;
    EXPECT_EQ(access.getValue(number), 8);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(
        logged(),
        joined({missing,
                {error("value_access_base.cpp", "tryConnectIfNeeded", "BizValue connect failed:'missing', ret: 8")}}));
    EXPECT_EQ(access.setValue(1), 8);
    EXPECT_EQ(tv.lookups(), 0);
}

}  // namespace
}  // namespace test
