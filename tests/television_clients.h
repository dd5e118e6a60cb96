#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <sstream>

#include "frame/process.h"
#include "objbus/root_interface.h"
#include "src/nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_kinds.h"
#include "television/status.h"
#include "television/table_iterator.h"

/// Clients for the tests of both televisions: simulated, and on D-Bus. The clients use only the platform's interfaces.
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

/// Keeps what an observer was notified of, in order. After all notifications are delivered, `received` may be read
/// without the mutex.
template <typename T>
struct Recorder {
    std::vector<T> take() {
        std::lock_guard const lock(mutex);
        return std::exchange(received, {});
    }
    void record(T const& value) {
        {
            std::lock_guard const lock(mutex);
            received.push_back(value);
        }
        onReceived();
    }
    template <typename... Parts>
    void recordLine(Parts const&... parts) {
        std::ostringstream line;
        ((line << parts << ' '), ...);
        record(line.str());
    }

    std::mutex mutex;
    std::vector<T> received;
    std::function<void()> onReceived = [] {};  ///< Called on the delivery thread, after each record.
};

/// Records the notifications of a plain value of type `T`, of an action, of a table or of an iterator.
template <typename T>
struct RecordingObserver;
#define TEST_RECORDING_OBSERVER(T, OBJECT, OBJECT_TYPE, OBSERVER, NOTIFICATION)                 \
    template <>                                                                                 \
    struct RecordingObserver<T> : OBSERVER, Recorder<T> {                                       \
        using Interface = OBJECT;                                                               \
        static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE;                                     \
        void NOTIFICATION(orvane::system::support::Passed<T> value) override { record(value); } \
    };
NRX_VALUE_KINDS(TEST_RECORDING_OBSERVER)
#undef TEST_RECORDING_OBSERVER
template <>
struct RecordingObserver<ObjectAction> : ObserverAction, Recorder<std::string> {
    using Interface = ObjectAction;
    void notifyResult(unsigned int id, std::vector<Argument> const& results) override {
        std::string texts;
        for (Argument const& result : results) {
            texts += std::to_string(result.index) + ":" + result.value + ";";
        }
        recordLine(id, texts);
    }
    void notifyExecutionError(unsigned int id, int error) override { recordLine(id, "error", error); }
};
template <>
struct RecordingObserver<ObjectTable> : ObserverTable, Recorder<std::string> {
    using Interface = ObjectTable;
    void notifyUpdate(int update) override { recordLine("update", update); }
};
template <>
struct RecordingObserver<TableIterator> : ObserverTableIterator, Recorder<std::string> {
    void notifyCommit(int status) override { recordLine("commit", status); }
    void notifyTotalCount(int count) override { recordLine("count", count); }
    void notifySeekToRow(int row) override { recordLine("row", row); }
    void notifySeekToContent(int row) override { recordLine("content", row); }
    void notifyCursorPosition(int row) override { recordLine("cursor", row); }
    void notifyReadRow(Strings const& row) override { recordLine("read", ::testing::PrintToString(row)); }
    void notifyReadRowChunk(std::vector<Strings const*> const& rows) override {
        std::vector<Strings> copies;
        std::transform(rows.begin(), rows.end(), std::back_inserter(copies), [](auto* row) { return *row; });
        recordLine("chunk", ::testing::PrintToString(copies));
    }
    void notifyIteratorReady(int status) override { recordLine("ready", status); }
    void notifyUpdate(int update) override { recordLine("update", update); }
};

/// Returns a different value for each number.
template <typename T>
T sampleValue(int number) {
    if constexpr (std::is_arithmetic_v<T>) {
        return number;
    } else if constexpr (std::is_same_v<T, std::string>) {
        return std::to_string(number);
    } else {
        return {{}, sampleValue<typename T::value_type>(number)};
    }
}

/// Connects. Repeats an attempt that times out, because a busy machine may need longer than one attempt.
inline int connectTo(std::string const& key, Observer* observer, Object*& object) {
    int status = television::STATUS_NO_ANSWER;
    for (int tries = 0; status == television::STATUS_NO_ANSWER && tries < 100; ++tries) {
        status = root().connectObject(key, observer, object);
    }
    return status;
}

/// An observer that connects to an object in the constructor and disconnects in the destructor.
template <typename T>
struct Client : RecordingObserver<T> {
    explicit Client(std::string at) : key(std::move(at)), status(connectTo(key, this, object)) {}
    Client(Client const&) = delete;
    Client& operator=(Client const&) = delete;
    ~Client() override { disconnect(); }

    int disconnect() { return root().disconnectObject(key, this, object); }
    auto* operator->() const {
        return object != nullptr ? static_cast<typename RecordingObserver<T>::Interface*>(object)
                                 : throw std::runtime_error(key + " is not connected");
    }
    [[nodiscard]] ObjectTypeSpec reportedType() const {
        ObjectTypeSpec type = OBJECT_TYPE_NONE;
        EXPECT_TRUE(object != nullptr && object->getType(type) == 0);
        return type;
    }
    [[nodiscard]] int write(T const& value) const {
        if constexpr (requires { (*this)->setValue(value); }) {
            return (*this)->setValue(value);
        } else {
            // The indexes are 0, 3, 6 and so on. The object must store the elements without gaps.
            std::map<int, typename T::value_type> elements;
            for (auto const& element : value) {
                elements.emplace(3 * static_cast<int>(elements.size()), element);
            }
            return (*this)->setValue(elements);
        }
    }
    /// Reads into `value` and returns the status. For a number, the status is 0. A failed read must not change `value`.
    int read(T& value) const {
        if constexpr (std::is_arithmetic_v<T>) {
            value = (*this)->getValue();
            return 0;
        } else {
            T const before = value;
            int const result = (*this)->getValue(value);
            EXPECT_TRUE(result == 0 || value == before);
            return result;
        }
    }
    [[nodiscard]] T read() const {
        T value{};
        EXPECT_EQ(read(value), 0);
        return value;
    }
    [[nodiscard]] int statusOfRead() const {
        T value = sampleValue<T>(7);
        return read(value);
    }

    std::string const key;
    Object* object = nullptr;
    int const status;
};

using IteratorObserver = RecordingObserver<TableIterator>;
/// Makes an iterator over all columns of a table.
inline TableIterator* makeIterator(Client<ObjectTable> const& table, ObserverTableIterator* observer) {
    return table->createIterator({}, observer, {}, {}, {});
}

/// Returns a key with the test's name and all kinds of characters.
inline std::string keyOfCurrentTest() {
    auto const& info = *::testing::UnitTest::GetInstance()->current_test_info();
    return std::string(info.test_suite_name()) + "." + info.name() + ".._.a-b/c_2d_\u00e5 \U0001F4FA\n\"\\\x01\x7f.";
}

/// A key with the test's name, and three values.
template <typename T>
struct PlainValueTest : ::testing::Test {
    std::string const key = keyOfCurrentTest();
    std::vector<T> const values{sampleValue<T>(1), sampleValue<T>(2), sampleValue<T>(3)};
};

}  // namespace test
