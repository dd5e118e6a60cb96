#include <memory>
#include <stdexcept>

#include "client/property.h"
#include "measure.h"
#include "simulator/television.h"

namespace bench {

namespace {

namespace detail = orvane::client::detail;

template <typename T>
void useValue(T const& value) {
    keepObservable(&value);
}

/// The handler of an access object. Converts the value, as a user of access objects without `client/` must.
template <typename T>
struct RawHandler {
    void handle(IValueObject const& value) {
        T const converted = value;
        keepObservable(&converted);
    }
};

/// Notifies a watched property, and an access object with a handler, as the model does.
template <typename T, auto NOTIFY>
void addWatch(std::string const& kind, T const& value) {
    using Observer = typename detail::Kind<T>::Observer;
    using Access = detail::PropertyAccess<T>;
    addCallBenchmark("Watch/" + kind, [kind, value] {
        std::shared_ptr<Access> const access(
            new Access(kind, std::make_shared<detail::Watch<T>>(orvane::client::Executor())), typename Access::End());
        auto const read = [&access](auto& /*first*/) { return access->ensureConnected(); };
        if (!access->watch(useValue<T>, read)) {
            throw std::logic_error("bench: " + kind + " cannot be watched");
        }
        Observer& observer = *access;
        return [access, &observer, value] { (observer.*NOTIFY)(value); };
    });
    addCallBenchmark("RawWatch/" + kind, [kind, value] {
        static RawHandler<T> handler;
        auto const access =
            std::make_shared<ValueAccessT<Observer>>(kind, make_value_handler(&handler, &RawHandler<T>::handle));
        Observer& observer = *access;
        return [access, &observer, value] { (observer.*NOTIFY)(value); };
    });
}

/// Reads a value into a new variable and checks the status of the read.
template <typename T>
void addGet(std::string const& kind) {
    addCallBenchmark("Get/" + kind, [kind] {
        return [property = std::make_shared<orvane::client::Property<T>>(kind)] {
            auto const value = property->get();
            value ? keepObservable(&*value) : void();
        };
    });
    addCallBenchmark("RawGet/" + kind, [kind] {
        return [access = std::make_shared<ValueAccessT<typename detail::Kind<T>::Observer>>(kind)] {
            T value{};
            access->getValue(value) == STATUS_OK ? keepObservable(&value) : void();
        };
    });
}

template <typename T, auto NOTIFY>
void addKind(simulator::Television& television, std::string const& kind, T const& value) {
    television.publish(kind, value);
    addWatch<T, NOTIFY>(kind, value);
    addGet<T>(kind);
}

}  // namespace

void addPropertyBenchmarks(simulator::Television& television) {
    using namespace objbus;
    addKind<int, &ObserverNumericInteger::notifyNewValue>(television, "int", 1234567);
    addKind<std::string, &ObserverString::notifyNewValue>(television, "string", makeStrings(1, 8).front());
    addKind<Strings, &ObserverVectorString::notifyStringVector>(television, "stringList", makeStrings(3, 8));
}

}  // namespace bench
