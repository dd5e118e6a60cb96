#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "frame/process.h"
#include "objbus/root_interface.h"
#include "television/status.h"
#include "television/table_iterator.h"

/// What the tests of every television have: its clients, through the platform's interfaces alone.
namespace test {

using namespace objbus;
using namespace std::string_literals;
using Integers = std::vector<int>;
using Strings = std::vector<std::string>;
using PlainTypes = ::testing::Types<int, long long, std::string, Integers, Strings>;

inline RootInterface& root() {
    static boost::shared_ptr<frame::Interface> reference;
    [[maybe_unused]] static int const status =
        frame::Process::getInstance().getInterfaceReference(reference, "torvi.ob.interfaces.tvapi.RootInterface");
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

/// Keeps what an observer hears, and may act on it. `heard` is looked at when that has been delivered.
template <typename T>
struct Record {
    std::vector<T> take() {
        std::lock_guard const lock(mutex);
        return std::exchange(heard, {});
    }
    void keep(T const& value) {
        {
            std::lock_guard const lock(mutex);
            heard.push_back(value);
        }
        then();
    }
    template <typename... Parts>
    void say(Parts const&... parts) {
        std::ostringstream text;
        ((text << parts << ' '), ...);
        keep(text.str());
    }

    std::mutex mutex;
    std::vector<T> heard;
    std::function<void()> then = [] {};
};

template <typename T>
struct Ear;
template <>
struct Ear<int> : ObserverNumericInteger, Record<int> {
    using Interface = ObjectNumericInteger;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INTEGER;
    void notifyNewValue(int value) override { keep(value); }
};
template <>
struct Ear<long long> : ObserverNumericInt64, Record<long long> {
    using Interface = ObjectNumericInt64;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INT64;
    void notifyNewValue(long long value) override { keep(value); }
};
template <>
struct Ear<std::string> : ObserverString, Record<std::string> {
    using Interface = ObjectString;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_STRING;
    void notifyNewValue(std::string const& value) override { keep(value); }
};
template <>
struct Ear<Integers> : ObserverVectorNumericInteger, Record<Integers> {
    using Interface = ObjectVectorNumericInteger;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
    void notifyIntegerVector(Integers const& values) override { keep(values); }
};
template <>
struct Ear<Strings> : ObserverVectorString, Record<Strings> {
    using Interface = ObjectVectorString;
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_STRING;
    void notifyStringVector(Strings const& values) override { keep(values); }
};
template <>
struct Ear<ObjectAction> : ObserverAction, Record<std::string> {
    using Interface = ObjectAction;
    void notifyResult(unsigned int id, std::vector<Argument> const& results) override {
        auto const add = [](std::string const& text, Argument const& result) {
            return text + std::to_string(result.index) + ":" + result.value + ";";
        };
        say(id, std::accumulate(results.begin(), results.end(), std::string(), add));
    }
    void notifyExecutionError(unsigned int id, int error) override { say(id, "error", error); }
};
template <>
struct Ear<ObjectTable> : ObserverTable, Record<std::string> {
    using Interface = ObjectTable;
    void notifyUpdate(int update) override { say("update", update); }
};
template <>
struct Ear<TableIterator> : ObserverTableIterator, Record<std::string> {
    void notifyCommit(int status) override { say("commit", status); }
    void notifyTotalCount(int count) override { say("count", count); }
    void notifySeekToRow(int row) override { say("row", row); }
    void notifySeekToContent(int row) override { say("content", row); }
    void notifyCursorPosition(int row) override { say("cursor", row); }
    void notifyReadRow(Strings const& row) override { say("read", ::testing::PrintToString(row)); }
    void notifyReadRowChunk(std::vector<Strings const*> const& rows) override {
        std::vector<Strings> copies;
        std::transform(rows.begin(), rows.end(), std::back_inserter(copies), [](auto* row) { return *row; });
        say("chunk", ::testing::PrintToString(copies));
    }
    void notifyIteratorReady(int status) override { say("ready", status); }
    void notifyUpdate(int update) override { say("update", update); }
};

/// Another value for every number.
template <typename T>
T valueOf(int number) {
    if constexpr (std::is_arithmetic_v<T>) {
        return number;
    } else if constexpr (std::is_same_v<T, std::string>) {
        return std::to_string(number);
    } else {
        return {{}, valueOf<typename T::value_type>(number)};
    }
}

/// Tries once more where no answer came in the short time that an attempt has: the machine may be busy.
inline int connectTo(std::string const& key, Observer* observer, Object*& object) {
    int status = television::STATUS_NO_ANSWER;
    for (int tries = 0; status == television::STATUS_NO_ANSWER && tries < 100; ++tries) {
        status = root().connectObject(key, observer, object);
    }
    return status;
}

/// An observer and its registration, which ends with it.
template <typename T>
struct Client {
    explicit Client(std::string at) : key(std::move(at)), status(connectTo(key, &ear, object)) {}
    Client(Client const&) = delete;
    Client& operator=(Client const&) = delete;
    ~Client() { end(); }

    int end() { return root().disconnectObject(key, &ear, object); }
    auto* operator->() const {
        return object != nullptr ? static_cast<typename Ear<T>::Interface*>(object)
                                 : throw std::runtime_error(key + " is not connected");
    }
    [[nodiscard]] ObjectTypeSpec type() const {
        ObjectTypeSpec type = OBJECT_TYPE_NONE;
        EXPECT_TRUE(object != nullptr && object->getType(type) == 0);
        return type;
    }
    [[nodiscard]] int write(T const& value) const {
        if constexpr (requires { (*this)->setValue(value); }) {
            return (*this)->setValue(value);
        } else {
            std::map<int, typename T::value_type> elements;  // With gaps, which the list does not have.
            for (auto const& element : value) {
                elements.emplace(3 * static_cast<int>(elements.size()), element);
            }
            return (*this)->setValue(elements);
        }
    }
    int read(T& value) const {
        if constexpr (std::is_arithmetic_v<T>) {
            value = (*this)->getValue();
            return 0;
        } else {
            return (*this)->getValue(value);
        }
    }
    [[nodiscard]] T read() const {
        T value{};
        EXPECT_EQ(read(value), 0);
        return value;
    }

    std::string const key;
    Ear<T> ear;
    Object* object = nullptr;
    int const status;
};

/// A key of the test's own, with all that a key may hold.
inline std::string testKey() {
    auto const& info = *::testing::UnitTest::GetInstance()->current_test_info();
    return std::string(info.test_suite_name()) + "." + info.name() + ".._.a-b/c_2d_\u00e5 \U0001F4FA\n\"\\\x01\x7f.";
}

/// A key of the test's own, and three values.
template <typename T>
struct PlainValueTest : ::testing::Test {
    std::string const key = testKey();
    std::vector<T> const values{valueOf<T>(1), valueOf<T>(2), valueOf<T>(3)};
};

}  // namespace test
