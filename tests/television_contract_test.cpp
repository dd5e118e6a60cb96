// What every television here keeps to, through the platform's interfaces alone: the same for one in the process and for
// one on a bus.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <utility>

#include "driven_television.h"
#include "frame/process.h"
#include "objbus/root_interface.h"
#include "television/log.h"
#include "television/table_iterator.h"

namespace test {
namespace {

using namespace objbus;
using namespace std::string_literals;

using Integers = std::vector<int>;
using Strings = std::vector<std::string>;

constexpr int MANY = 500;
constexpr int REFUSAL = 42;

RootInterface& root() {
    static boost::shared_ptr<frame::Interface> const reference = [] {
        boost::shared_ptr<frame::Interface> found;
        frame::Process::getInstance().getInterfaceReference(found, "torvi.ob.interfaces.tvapi.RootInterface");
        return found;
    }();
    return *static_cast<RootInterface*>(reference->getObject());
}

/// Ends the program when the event does not come in a time that nothing here needs: what hangs cannot be given up.
template <typename Event>
auto await(Event event) {
    if (event.wait_for(std::chrono::seconds(90)) != std::future_status::ready) {
        std::fputs("a deadlock\n", stderr);
        std::abort();
    }
    return event.get();
}

/// Keeps what an observer hears, and lets it act on it.
template <typename T>
class Record {
public:
    std::function<void()> then = [] {};

    /// What was heard since the last call.
    std::vector<T> take() {
        std::lock_guard const lock(mutex_);
        return std::exchange(heard_, {});
    }

    void awaitSome() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !heard_.empty(); });
    }

protected:
    void keep(T const& value) {
        {
            std::lock_guard const lock(mutex_);
            heard_.push_back(value);
            changed_.notify_all();
        }
        then();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<T> heard_;
};

std::string line(std::string text, Strings const& words) {
    for (std::string const& word : words) {
        text += " " + word;
    }
    return text;
}

struct ActionEar : ObserverAction, Record<std::string> {
    void notifyResult(unsigned int id, std::vector<Argument> const& results) override {
        std::string text = "result " + std::to_string(id);
        for (Argument const& result : results) {
            text += " " + std::to_string(result.index) + ":" + result.value;
        }
        keep(text);
    }
    void notifyExecutionError(unsigned int id, int error) override {
        keep("error " + std::to_string(id) + " " + std::to_string(error));
    }
};

struct TableEar : ObserverTable, Record<std::string> {
    void notifyUpdate(int update) override { keep("update " + std::to_string(update)); }
};

struct IteratorEar : ObserverTableIterator, Record<std::string> {
    void notifyCommit(int status) override { keep("commit " + std::to_string(status)); }
    void notifyTotalCount(int count) override { keep("count " + std::to_string(count)); }
    void notifySeekToRow(int row) override { keep("row " + std::to_string(row)); }
    void notifySeekToContent(int row) override { keep("content " + std::to_string(row)); }
    void notifyCursorPosition(int row) override { keep("cursor " + std::to_string(row)); }
    void notifyReadRow(Strings const& row) override { keep(line("read", row)); }
    void notifyReadRowChunk(std::vector<Strings const*> const& rows) override {
        std::string text = "chunk";
        for (auto const* const row : rows) {
            text = line(text + ",", *row);
        }
        keep(text);
    }
    void notifyIteratorReady(int status) override { keep("ready " + std::to_string(status)); }
    void notifyUpdate(int update) override { keep("update " + std::to_string(update)); }
};

/// The plain-valued kind of the values `T`: its interfaces, its edge values, and different values by number.
template <typename T>
struct Kind;

template <>
struct Kind<int> {
    using Object = ObjectNumericInteger;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INTEGER;
    static std::vector<int> edges() { return {INT_MIN, -1, 0, INT_MAX}; }
    static int value(int number) { return number; }
};

template <>
struct Kind<long long> {
    using Object = ObjectNumericInt64;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INT64;
    static std::vector<long long> edges() { return {LLONG_MIN, -1, 0, 1LL << 53 | 1, LLONG_MAX}; }
    static long long value(int number) { return (1LL << 40) + number; }
};

template <>
struct Kind<std::string> {
    using Object = ObjectString;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_STRING;
    static Strings edges() { return {"", " \n\t\"\\#", "\u00e5\u20ac\U0001F4FA", std::string(100'000, 'x')}; }
    static std::string value(int number) { return std::to_string(number); }
};

template <>
struct Kind<Integers> {
    using Object = ObjectVectorNumericInteger;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
    static std::vector<Integers> edges() { return {{}, {INT_MIN, 0, INT_MAX}, Integers(10'000, -1)}; }
    static Integers value(int number) { return {number, 0}; }
};

template <>
struct Kind<Strings> {
    using Object = ObjectVectorString;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_STRING;
    static std::vector<Strings> edges() { return {{}, {""}, {"a b", "", "\U0001F4FA"}, Strings(10'000, "text")}; }
    static Strings value(int number) { return {"", std::to_string(number)}; }
};

template <typename T>
struct Ear;
template <>
struct Ear<int> : ObserverNumericInteger, Record<int> {
    void notifyNewValue(int value) override { keep(value); }
};
template <>
struct Ear<long long> : ObserverNumericInt64, Record<long long> {
    void notifyNewValue(long long value) override { keep(value); }
};
template <>
struct Ear<std::string> : ObserverString, Record<std::string> {
    void notifyNewValue(std::string const& value) override { keep(value); }
};
template <>
struct Ear<Integers> : ObserverVectorNumericInteger, Record<Integers> {
    void notifyIntegerVector(Integers const& values) override { keep(values); }
};
template <>
struct Ear<Strings> : ObserverVectorString, Record<Strings> {
    void notifyStringVector(Strings const& values) override { keep(values); }
};

template <typename T>
constexpr bool IS_LIST = !std::is_arithmetic_v<T> && !std::is_same_v<T, std::string>;

/// A registration, which ends with it.
class Connection {
public:
    Connection(std::string key, Observer& observer) : key_(std::move(key)), observer_(observer) {
        status = root().connectObject(key_, &observer_, object);
    }
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;
    ~Connection() { end(); }

    int end() { return root().disconnectObject(key_, &observer_, object); }

    template <typename Interface>
    [[nodiscard]] Interface& as() const {
        return *static_cast<Interface*>(object);
    }

    template <typename T>
    [[nodiscard]] int write(T const& value) const {
        if constexpr (IS_LIST<T>) {
            std::map<int, typename T::value_type> elements;  // With gaps, which the list does not have.
            for (auto const& element : value) {
                elements.emplace(3 * static_cast<int>(elements.size()), element);
            }
            return as<typename Kind<T>::Object>().setValue(elements);
        } else {
            return as<typename Kind<T>::Object>().setValue(value);
        }
    }

    template <typename T>
    int read(T& value) const {
        if constexpr (std::is_arithmetic_v<T>) {
            value = as<typename Kind<T>::Object>().getValue();
            return 0;
        } else {
            return as<typename Kind<T>::Object>().getValue(value);
        }
    }

    template <typename T>
    [[nodiscard]] T read() const {
        T value{};
        EXPECT_EQ(read(value), 0);
        return value;
    }

    int status = 0;
    Object* object = nullptr;

private:
    std::string const key_;
    Observer& observer_;
};

struct Contract : ::testing::Test {
    std::string const key = "contract." + std::string(testInfo().test_suite_name()) + "." + testInfo().name();

    static ::testing::TestInfo const& testInfo() { return *::testing::UnitTest::GetInstance()->current_test_info(); }
};

template <typename T>
struct PlainValueContract : Contract {
    static T value(int number) { return Kind<T>::value(number); }

    Ear<T> ear;
    Ear<T> other;
};

using PlainTypes = ::testing::Types<int, long long, std::string, Integers, Strings>;
TYPED_TEST_SUITE(PlainValueContract, PlainTypes, );

TYPED_TEST(PlainValueContract, ConnectsToWhatIsPublished) {
    Connection const early(this->key, this->ear);
    EXPECT_TRUE(early.status != 0 && early.object == nullptr);
    driven::publish(this->key, this->value(0));
    TableEar deaf;
    Connection const connections[] = {{this->key, this->ear}, {this->key, this->other}, {this->key, deaf}};
    for (Connection const& connection : connections) {
        ObjectTypeSpec type = OBJECT_TYPE_NONE;
        ASSERT_TRUE(connection.status == 0 && connection.object != nullptr);
        EXPECT_EQ(connection.object->getType(type), 0);
        EXPECT_EQ(type, Kind<TypeParam>::TYPE);
    }
    std::vector<TypeParam> const changes{this->value(1), this->value(1), this->value(2)};  // To the same value, too.
    for (TypeParam const& change : changes) {
        driven::set(this->key, change);
    }
    driven::settle();
    EXPECT_EQ(this->ear.take(), changes);
    EXPECT_EQ(this->other.take(), changes);
    EXPECT_TRUE(deaf.take().empty());
}

TYPED_TEST(PlainValueContract, CarriesEveryValueBothWays) {
    auto const edges = Kind<TypeParam>::edges();
    driven::publish(this->key, edges.back());
    Connection const connection(this->key, this->ear);
    Connection const second(this->key, this->other);
    EXPECT_TRUE(connection.template read<TypeParam>() == edges.back());
    for (TypeParam const& edge : edges) {
        driven::set(this->key, edge);
        driven::settle();
        EXPECT_TRUE(connection.template read<TypeParam>() == edge);
        driven::set(this->key, this->value(1));
        driven::settle();
        EXPECT_EQ(connection.write(edge), 0);
        EXPECT_TRUE(second.template read<TypeParam>() == edge);
        driven::settle();
        std::vector<TypeParam> const all{edge, this->value(1), edge};
        EXPECT_TRUE(this->ear.take() == all && this->other.take() == all);  // Who writes hears it, too.
    }
    if constexpr (!std::is_arithmetic_v<TypeParam>) {
        TypeParam variable = this->value(7);
        driven::failReads(this->key, REFUSAL);
        EXPECT_EQ(connection.read(variable), REFUSAL);
        EXPECT_EQ(variable, this->value(7));
        driven::failReads(this->key, 0);
        EXPECT_TRUE(connection.template read<TypeParam>() == edges.back());
    }
}

TYPED_TEST(PlainValueContract, TellsAllChangesToAllInOneOrder) {
    driven::publish(this->key, this->value(0));
    Connection const connection(this->key, this->ear);
    Connection const second(this->key, this->other);
    std::vector<TypeParam> expected;
    for (int number = 1; number <= 2 * MANY; ++number) {
        expected.push_back(this->value(number));
    }
    auto const middle = expected.begin() + MANY;
    std::thread client([&] {
        std::for_each(middle, expected.end(), [&](auto const& value) { EXPECT_EQ(connection.write(value), 0); });
    });
    std::for_each(expected.begin(), middle, [&](auto const& value) { driven::set(this->key, value); });
    client.join();
    driven::settle();
    auto heard = this->ear.take();
    EXPECT_EQ(heard, this->other.take());
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back(), connection.template read<TypeParam>());
    std::stable_partition(heard.begin(), heard.end(),
                          [&](auto const& value) { return std::find(expected.begin(), middle, value) != middle; });
    EXPECT_EQ(heard, expected);
}

TYPED_TEST(PlainValueContract, LeavesThePointerToWhatWasWithdrawn) {
    driven::publish(this->key, this->value(1));
    Connection old(this->key, this->ear);
    driven::withdraw(this->key);
    auto const expectGone = [&] {
        TypeParam variable = this->value(7);
        if (old.read(variable); !std::is_arithmetic_v<TypeParam>) {  // Numbers are read without a status.
            EXPECT_NE(old.read(variable), 0);
            EXPECT_EQ(variable, this->value(7));
        }
        EXPECT_NE(old.write(this->value(8)), 0);
    };
    expectGone();
    EXPECT_NE(Connection(this->key, this->other).status, 0);
    driven::publish(this->key, this->value(2));
    Connection const renewed(this->key, this->other);
    driven::set(this->key, this->value(3));
    driven::settle();
    expectGone();
    EXPECT_EQ(renewed.write(this->value(4)), 0);
    driven::settle();
    EXPECT_EQ(renewed.template read<TypeParam>(), this->value(4));
    EXPECT_TRUE(this->ear.take().empty());
    EXPECT_EQ(this->other.take(), (std::vector<TypeParam>{this->value(3), this->value(4)}));
    EXPECT_EQ(old.end(), 0);

    driven::publishAction(this->key);  // In its place: another type.
    ActionEar action;
    Connection const changed(this->key, action);
    ObjectTypeSpec type = OBJECT_TYPE_NONE;
    ASSERT_EQ(changed.status, 0);
    EXPECT_EQ(changed.object->getType(type), 0);
    EXPECT_EQ(type, OBJECT_TYPE_ACTION);
    EXPECT_NE(renewed.write(this->value(5)), 0);
}

using ConnectionContract = PlainValueContract<int>;

TEST_F(ConnectionContract, EndsAllOfAnObserversWithAnObject) {
    driven::publish(key, 0);
    driven::publish(key + ".other", 0);
    Connection connection(key, ear);
    Connection second(key, ear);
    Connection elsewhere(key + ".other", ear);
    auto const heardNow = [&](int value) {
        driven::set(key, value);
        driven::settle();
        return ear.take();
    };
    EXPECT_NE(root().disconnectObject(key, &other, connection.object), 0);  // Was never connected.
    EXPECT_NE(root().disconnectObject(key, &ear, elsewhere.object), 0);
    EXPECT_EQ(root().disconnectObject(key, &other, nullptr), 0);
    EXPECT_EQ(heardNow(1), (Integers{1, 1}));
    EXPECT_EQ(connection.end(), 0);
    EXPECT_NE(second.end(), 0);
    EXPECT_EQ(heardNow(2), Integers());
    Connection const third(key, ear);
    EXPECT_EQ(heardNow(3), Integers{3});
    EXPECT_EQ(root().disconnectObject(key, &ear, nullptr), 0);
    EXPECT_EQ(heardNow(4), Integers());
    EXPECT_EQ(elsewhere.end(), 0);
}

TEST_F(ConnectionContract, TellsEveryChangeBetweenConnectAndDisconnectOnce) {
    driven::publish(key, 0);
    Connection const always(key, other);
    std::atomic<bool> done = false;
    std::vector<std::unique_ptr<Ear<int>>> silent;
    std::thread client([&] {
        for (int cycle = 0; cycle < MANY; ++cycle) {
            auto observer = std::make_unique<Ear<int>>();
            Object* object = nullptr;
            EXPECT_EQ(root().connectObject(key, observer.get(), object), 0);
            cycle % 3 == 0 ? observer->awaitSome() : void();
            EXPECT_EQ(root().disconnectObject(key, observer.get(), object), 0);
            Integers const heard = observer->take();
            EXPECT_EQ(std::adjacent_find(heard.begin(), heard.end(), [](int a, int b) { return b != a + 1; }),
                      heard.end());
            if (cycle % 2 == 0) {  // The others are destroyed.
                silent.push_back(std::move(observer));
            }
        }
        done = true;
    });
    Integers changes;
    while (!done) {
        for (int more = 0; more < 20; ++more) {
            changes.push_back(static_cast<int>(changes.size()) + 1);
            driven::set(key, changes.back());
        }
        driven::settle();
    }
    client.join();
    EXPECT_EQ(other.take(), changes);
    EXPECT_EQ(always.read<int>(), changes.back());
    EXPECT_TRUE(std::all_of(silent.begin(), silent.end(), [](auto const& one) { return one->take().empty(); }));
}

TEST_F(ConnectionContract, WaitsForTheCallToTheObserverAlone) {
    driven::publish(key, 0);
    Connection connection(key, ear);
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> left = false;
    ear.then = [&] {
        entered.set_value();
        release.get_future().wait();
        left = true;
    };
    driven::set(key, 1);
    await(entered.get_future());
    auto waiting = std::async(std::launch::async, [&] {
        EXPECT_EQ(connection.end(), 0);
        return left.load();
    });
    await(std::async(std::launch::async, [&] {  // So often that the one above would be back if it did not wait.
        for (int cycle = 0; cycle < MANY; ++cycle) {
            EXPECT_EQ(Connection(key, other).end(), 0);
        }
    }));
    EXPECT_NE(waiting.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    release.set_value();
    EXPECT_TRUE(await(std::move(waiting)));
}

TEST_F(ConnectionContract, MayBeUsedFromInsideANotification) {
    driven::publish(key, 0);
    driven::publish(key + ".text", "before"s);
    driven::publishAction(key + ".action");
    driven::publishTable(key + ".table", {{"a"}});
    driven::answerWith(Strings{"done"});
    Ear<std::string> text;
    ActionEar action;
    TableEar table;
    IteratorEar iterator;
    std::unique_ptr<Connection> inside[3];
    unsigned int id = 0;
    Connection connection(key, ear);
    Connection second(key, other);
    std::promise<void> done;
    ear.then = [&] {
        inside[0] = std::make_unique<Connection>(key + ".text", text);
        EXPECT_EQ(inside[0]->read<std::string>(), "before");
        EXPECT_EQ(inside[0]->write("after"s), 0);
        inside[1] = std::make_unique<Connection>(key + ".action", action);
        EXPECT_EQ(inside[1]->as<ObjectAction>().invoke(id, {}), 0);
        inside[2] = std::make_unique<Connection>(key + ".table", table);
        auto& rows = inside[2]->as<ObjectTable>();
        EXPECT_EQ(rows.destroyIterator(rows.createIterator({}, &iterator, {}, {}, {})), 0);
        EXPECT_EQ(second.end(), 0);
        EXPECT_EQ(connection.end(), 0);
        done.set_value();
    };
    driven::set(key, 1);
    driven::set(key, 2);
    await(done.get_future());
    driven::settle();
    EXPECT_EQ(ear.take(), Integers{1});
    EXPECT_TRUE(other.take().empty() && iterator.take().empty());
    EXPECT_EQ(text.take(), Strings{"after"});
    EXPECT_EQ(action.take(), Strings{"result " + std::to_string(id) + " 0:done"});
}

TEST_F(ConnectionContract, TakesEveryKey) {
    for (std::string const name : {"", ".", "a..b", "_", "_2d", "a-b/c", "\u00e5 \U0001F4FA\n\"\\", "\x01\xff"}) {
        driven::publish(key + name, 1);
        Ear<int> heard;
        Connection const connection(key + name, heard);
        ASSERT_EQ(connection.status, 0) << name;
        EXPECT_EQ(connection.write(2), 0);
        driven::settle();
        EXPECT_EQ(heard.take(), Integers{2}) << name;
    }
}

TEST_F(Contract, ActionsAnswerUnderTheirNumbers) {
    driven::publishAction(key);
    ActionEar ear;
    ActionEar other;
    Connection const connection(key, ear);
    Connection const second(key, other);
    ASSERT_EQ(connection.status, 0);
    auto& action = connection.as<ObjectAction>();
    Strings expected;
    auto const invoke = [&](std::string const& begin, std::string const& end) {
        unsigned int id = 0;
        EXPECT_EQ(action.invoke(id, {{0, 0, 0, "first"}, {-5, 127, -128, "last"}}), 0);
        expected.push_back(begin + std::to_string(id) + end);
    };
    driven::answerWith(Strings{"one", "", "\U0001F4FA three"});
    for (int count = 0; count < MANY; ++count) {
        invoke("result ", " 0:one 1: 2:\U0001F4FA three");
    }
    driven::settle();
    EXPECT_EQ(driven::lastArguments(), (Strings{"0: first", "127: last"}));
    driven::answerWith(REFUSAL);
    invoke("error ", " 42");
    driven::answerWith(Strings());
    invoke("result ", "");
    driven::answerWith({});
    unsigned int id = 7;
    EXPECT_EQ(action.invoke(id, {}), 0);
    driven::failInvokes(key, REFUSAL);
    id = 7;
    EXPECT_EQ(action.invoke(id, {}), REFUSAL);
    driven::failInvokes(key, 0);
    driven::withdraw(key);
    EXPECT_NE(action.invoke(id, {}), 0);
    EXPECT_EQ(id, 7U);
    EXPECT_EQ(ear.take(), expected);
    EXPECT_EQ(other.take(), expected);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(std::adjacent_find(expected.begin(), expected.end()), expected.end());  // No number twice.
}

TEST_F(Contract, TablesAreReadThroughIterators) {
    driven::publishTable(key, {{"a", "1"}, {"b", "2"}, {"c", ""}});
    TableEar ear;
    IteratorEar whole;
    IteratorEar column;
    Connection const connection(key, ear);
    ASSERT_EQ(connection.status, 0);
    auto& table = connection.as<ObjectTable>();
    TableIterator* const iterator = table.createIterator({}, &whole, {{1, 2, "text"}}, {}, {{3, 4}});
    TableIterator* const second = table.createIterator({}, &column, {}, {1, 7}, {});
    ASSERT_TRUE(iterator != nullptr && second != nullptr);

    struct Step {
        std::function<void()> ask;
        Strings answers;
    };
    Step const steps[] = {
        {[] {}, {"ready 0"}},
        {[&] { iterator->requestTotalCount(); }, {"count 3"}},
        {[&] { iterator->readRow(); }, {"read a 1"}},
        {[&] { iterator->seekToRow(1); }, {"row 1", "cursor 1"}},
        {[&] { iterator->readRowChunk(9); }, {"chunk, b 2, c "}},
        {[&] { iterator->readRowChunk(1); }, {"chunk, b 2"}},
        {[&] { iterator->readRowChunk(-1); }, {"chunk"}},
        {[&] { iterator->seekToRow(3); }, {"row -1", "cursor -1"}},
        {[&] { iterator->readRow(); }, {"read"}},
        {[&] { iterator->readRowChunk(1); }, {"chunk"}},
        {[&] { iterator->seekToContent("2"); }, {"content 1"}},
        {[&] { iterator->readRow(); }, {"read b 2"}},
        {[&] { iterator->seekToContent("none"); }, {"content -1"}},
        {[&] { iterator->seekToRow(INT_MIN); }, {"row -1", "cursor -1"}},
        {[&] { iterator->commit(); }, {"commit 0"}},
    };
    Strings expected;
    for (Step const& step : steps) {  // One after the other, whether or not the answers are waited for.
        step.ask();
        expected.insert(expected.end(), step.answers.begin(), step.answers.end());
    }
    second->seekToContent("a");
    second->seekToContent("2");
    second->readRow();
    driven::settle();
    EXPECT_EQ(whole.take(), expected);
    EXPECT_EQ(column.take(), (Strings{"ready 0", "content -1", "content 1", "read 2 "}));

    driven::setRows(key, {{"new", "row"}});
    driven::settle();
    iterator->requestTotalCount();
    EXPECT_EQ(table.destroyIterator(second), 0);
    EXPECT_TRUE(table.destroyIterator(second) != 0 && table.destroyIterator(nullptr) != 0);
    driven::setRows(key, {});
    driven::settle();
    EXPECT_EQ(whole.take(), (Strings{"update 0", "count 1", "update 0"}));
    EXPECT_EQ(column.take(), Strings{"update 0"});
    EXPECT_EQ(ear.take(), (Strings{"update 0", "update 0"}));

    driven::withdraw(key);
    iterator->requestTotalCount();
    EXPECT_EQ(table.createIterator({}, &column, {}, {}, {}), nullptr);
    EXPECT_EQ(table.destroyIterator(iterator), 0);
    driven::settle();
    EXPECT_TRUE(whole.take().empty() && column.take().empty());
}

TEST_F(Contract, TextThatIsNotCarriedIsRefusedWholeAndLogged) {
    driven::publish(key + ".text", "before"s);
    driven::publish(key + ".list", Strings{"before"});
    driven::publishAction(key + ".action");
    driven::publishTable(key + ".table", {});
    driven::answerWith({});
    Ear<std::string> text;
    Ear<Strings> list;
    ActionEar action;
    TableEar table;
    IteratorEar rows;
    Connection const texts(key + ".text", text);
    Connection const lists(key + ".list", list);
    Connection const actions(key + ".action", action);
    Connection const tables(key + ".table", table);
    auto& tableObject = tables.as<ObjectTable>();
    TableIterator* const iterator = tableObject.createIterator({}, &rows, {}, {}, {});
    ASSERT_NE(iterator, nullptr);
    driven::settle();
    rows.take();

    std::mutex mutex;
    Strings lines;
    television::setLogLevel(television::LogLevel::error);
    television::setLogSink([&](int /*severity*/, std::string const& line) {
        std::lock_guard const lock(mutex);
        lines.push_back(line);
    });
    bool const carried = driven::carriesEveryText();
    for (std::string const& bad : {"a\0b"s, "\xff"s, "\xc3"s, "\xed\xa0\x80"s}) {
        unsigned int id = 7;
        EXPECT_EQ(texts.write(bad) == 0, carried);
        EXPECT_EQ(lists.write(Strings{"good", bad}) == 0, carried);
        EXPECT_EQ(actions.as<ObjectAction>().invoke(id, {{0, 0, 0, "good"}, {0, 1, 0, bad}}) == 0, carried);
        EXPECT_EQ(id != 7, carried);
        EXPECT_EQ(tableObject.createIterator({}, nullptr, {{0, 0, bad}}, {}, {}) != nullptr, carried);
        iterator->seekToContent(bad);
        driven::settle();
        EXPECT_EQ(texts.read<std::string>(), carried ? bad : "before");
        EXPECT_EQ(lists.read<Strings>(), carried ? (Strings{"good", bad}) : Strings{"before"});
        std::size_t const heard = carried ? 1 : 0;
        EXPECT_EQ(text.take().size(), heard);
        EXPECT_EQ(list.take().size(), heard);
        EXPECT_EQ(rows.take().size(), heard);
        std::lock_guard const lock(mutex);
        EXPECT_EQ(std::exchange(lines, {}).size(), carried ? 0U : 5U) << ::testing::PrintToString(lines);
    }
    television::setLogSink({});
}

}  // namespace
}  // namespace test
