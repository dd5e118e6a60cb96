// Checks the notifications of the platform library's objects when signals with random content arrive.

#include <future>

#include "bus/client/remote_model.h"
#include "bus/client/remote_table.h"
#include "fuzz/bus_messages.h"

namespace fuzz {
namespace {

/// Records the notifications under the names of their signals.
struct RecordingObserver final : ObserverNumericInteger,
                                 ObserverNumericInt64,
                                 ObserverString,
                                 ObserverVectorNumericInteger,
                                 ObserverVectorString,
                                 ObserverAction,
                                 ObserverTable,
                                 ObserverTableIterator {
    void record(char const* name, auto const&... values) { received.push_back({name, 0, "", {itemOf(values)...}}); }
    void notifyNewValue(int value) override { record(CHANGE, value); }
    void notifyNewValue(long long value) override { record(CHANGE, value); }
    void notifyNewValue(std::string const& value) override { record(CHANGE, value); }
    void notifyIntegerVector(std::vector<int> const& values) override { record(CHANGE, values); }
    void notifyStringVector(Strings const& values) override { record(CHANGE, values); }
    void notifyResult(unsigned int id, std::vector<Argument> const& results) override { record("Result", id, results); }
    void notifyExecutionError(unsigned int id, int error) override { record("ExecutionError", id, error); }
    void notifyUpdate(int update) override { record("Updated", update); }
    void notifyCommit(int status) override { record("Committed", status); }
    void notifyTotalCount(int count) override { record("TotalCount", count); }
    void notifySeekToRow(int row) override { record("RowSought", row); }
    void notifySeekToContent(int row) override { record("ContentSought", row); }
    void notifyCursorPosition(int row) override { record("CursorMoved", row); }
    void notifyReadRow(Strings const& row) override { record("RowRead", row); }
    void notifyReadRowChunk(std::vector<Strings const*> const& rows) override {
        std::vector<Strings> copies;
        std::transform(rows.begin(), rows.end(), std::back_inserter(copies), [](auto* row) { return *row; });
        record("RowChunkRead", copies);
    }
    void notifyIteratorReady(int status) override { record("Ready", status); }

    std::vector<MessageItem> received;
};

/// The television's object or iterator from which the signals come.
struct Source {
    int type;  ///< The object's type, or `ITERATOR`.
    /// The D-Bus interface of the value. Without a value, the interface of the signals, or empty if there are no
    /// signals.
    char const* interface;
    char const* valueType = nullptr;  ///< The D-Bus type of the value; null if the object has no value.
};
constexpr int ITERATOR = 100;
constexpr Source SOURCES[] = {{1, INTEGER_INTERFACE, "i"},
                              {2, STRING_INTERFACE, "s"},
                              {3, "nrx.Television1.IntegerList", "ai"},
                              {4, "nrx.Television1.StringList", "as"},
                              {8, "nrx.Television1.Int64", "x"},
                              {5, bus::ACTION_INTERFACE},
                              {6, bus::TABLE_INTERFACE},
                              {7, ""},
                              {-1, bus::TABLE_INTERFACE},
                              {ITERATOR, bus::ITERATOR_INTERFACE}};

/// Returns the new value in a PropertiesChanged signal. Returns null if the signal has no new value, or if an entry
/// before the value is invalid.
MessageItem const* newValueIn(std::vector<MessageItem> const& arguments, Source const& source) {
    if (arguments.size() < 2 || !isReadAs(arguments[0], "s") || arguments[0].text != source.interface ||
        arguments[1].type != "a{sv}") {
        return nullptr;
    }
    auto const& entries = arguments[1].items;
    auto const isLast = [](MessageItem const& entry) { return entry.items[0].text == "Value" || !hasValidText(entry); };
    auto const last = std::find_if(entries.begin(), entries.end(), isLast);
    bool const isValue = last != entries.end() && last->items[0].text == "Value";
    return isValue && isReadAs(last->items[1].items[0], source.valueType) ? last->items[1].items.data() : nullptr;
}

/// Returns the notification that a signal causes, or nothing.
std::optional<MessageItem> notificationOf(Source const& source, MessageMember const& signal,
                                          std::vector<MessageItem> const& arguments) {
    if (source.valueType != nullptr) {
        MessageItem const* const value =
            signal.name == std::string_view(CHANGE) ? newValueIn(arguments, source) : nullptr;
        return value != nullptr ? std::optional(MessageItem{CHANGE, 0, "", {*value}}) : std::nullopt;
    }
    MessageItem notification{signal.name};
    for (std::string const& type : typesOf(signal.signature)) {
        std::size_t const index = notification.items.size();
        if (index == arguments.size() || !isReadAs(arguments[index], type)) {
            return {};
        }
        notification.items.push_back(arguments[index]);
    }
    return signal.interface == std::string_view(source.interface) ? std::optional(notification) : std::nullopt;
}

}  // namespace

void checkNotifications(Bytes& bytes) {
    static int const addressStatus = ::setenv("NRX_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    expect(addressStatus == 0, "the model finds no bus");
    bus::RemoteModel& model = bus::RemoteModel::get();
    Source const& source = bytes.pick(SOURCES);
    bool const endsEarly = bytes.number(0, 7) == 7;
    RecordingObserver recorder;
    std::vector<MessageItem> expected;
    Observer otherObserver;  // Has no typed interface.
    bus::KeyEntry const entry("a");
    auto const object = bus::makeObject(model, entry, static_cast<ObjectTypeSpec>(source.type));
    bus::RemoteIterator iterator(model, "/nrx/Television1/iterator/1/1", &recorder);
    auto* const observer = static_cast<ObserverTable*>(&recorder);
    object->addRegistration(&otherObserver);
    object->addRegistration(observer);
    std::promise<void> released;
    auto const gate = std::make_shared<television::Registration>(television::Registration{nullptr, nullptr});
    model.delivery.post({{gate}, [&released](auto const& /*recipient*/) { released.get_future().wait(); }});
    while (bytes.isLeft()) {
        MessageMember signal = bytes.pick(NOTIFICATION_SIGNALS);
        int const oddness = bytes.number(0, 15);
        bool const isCall = oddness == 3;
        signal.name = oddness == 1 ? "Other" : signal.name;
        MessageItem root =
            makeMutatedArguments(bytes, oddness == 2 ? bytes.pick(NOTIFICATION_SIGNALS).signature : signal.signature);
        if (source.valueType != nullptr && oddness > 3 && root.items.size() > 1 && root.items[1].type == "a{sv}") {
            MessageItem const value{"v", 0, "", {makeItem(bytes, source.valueType)}};
            root.items[0] = {"s", 0, source.interface};
            root.items[1].items.push_back({"{sv}", 0, "", {{"s", 0, "Value"}, value}});
            makeConsistent(root);
        }
        if (auto const message = makeMessage(signal, isCall, root)) {
            source.type == ITERATOR ? iterator.handleSignal(message.get()) : object->handleSignal(message.get());
            auto const notification = notificationOf(source, signal, root.items);
            oddness != 1 && !isCall && notification ? expected.push_back(*notification) : void();
        }
    }
    auto const deliver = [&released, &model] {
        released.set_value();
        model.delivery.waitUntilPostedAreDelivered();
    };
    endsEarly ? void() : deliver();
    expect(object->removeRegistrations(observer) == 1 && object->removeRegistrations(&otherObserver) == 1,
           "each observer was connected");
    model.delivery.cancel(*iterator.observerRegistration());
    endsEarly ? deliver() : void();
    expect(recorder.received == (endsEarly ? std::vector<MessageItem>() : expected),
           "what was sent is received in its order");
}

}  // namespace fuzz
