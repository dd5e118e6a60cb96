#include <boost/shared_ptr.hpp>
#include <map>
#include <stdexcept>

#include "frame/process.h"
#include "measure.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "simulator/television.h"

namespace bench {

namespace {

using Integers = std::vector<int>;
using StringAccess = ValueAccessT<objbus::ObserverString>;
using StringListAccess = ValueAccessT<objbus::ObserverVectorString>;

/// Publishes `value` and connects an access object. Another connect gets the model object, which benchmarks call
/// directly. Neither of the two connects registers an observer, so that a write causes no notification.
template <typename Access, typename Object>
struct Connected {
    Connected(simulator::Television& television, std::string const& key, simulator::Value const& value)
        : access(new Access(key)) {
        television.publish(key, value);
        television.failConnects(key, {.status = 0, .handsOutObject = true});
        boost::shared_ptr<frame::Interface> root;
        frame::Process::getInstance().getInterfaceReference(root, "torvi.ob.interfaces.tvapi.RootInterface");
        objbus::Object* found = nullptr;
        static_cast<objbus::RootInterface*>(root->getObject())->connectObject(key, access.get(), found);
        object = dynamic_cast<Object*>(found);
        if (access->connect(0) != STATUS_OK || object == nullptr) {
            throw std::logic_error("bench: " + key + " does not connect");
        }
    }

    std::shared_ptr<Access> access;
    Object* object = nullptr;
};

/// Reads a `T` from an access object or a model object.
template <typename T, typename Source>
auto reading(Source from) {
    return [from] {
        return [from, value = std::make_shared<T>()] {
            from->getValue(*value);
            keepObservable(value->data());
        };
    };
}

void addReadsAndWrites(simulator::Television& television) {
    Connected<StringAccess, objbus::ObjectString> const text(television, "text", makeStrings(1, 8).front());
    addCallBenchmark("ReadString", reading<std::string>(text.access));
    addCallBenchmark("LimitReadString", reading<std::string>(text.object));

    for (int const count : {3, 100, 10000}) {
        std::string const suffix = "/" + std::to_string(count);
        Strings const values = makeStrings(count, 8);
        Connected<StringListAccess, objbus::ObjectVectorString> const list(television, "list" + suffix, values);
        addCallBenchmark("ReadList" + suffix, reading<Strings>(list.access));
        addCallBenchmark("LimitReadList" + suffix, reading<Strings>(list.object));
        addCallBenchmark("WriteList" + suffix,
                         [list, values] { return [list, values] { list.access->setValue(values); }; });
        addCallBenchmark("LimitWriteList" + suffix, [list, values] {
            return [list, values] {
                std::map<int, std::string> elements;
                for (std::string const& value : values) {
                    elements.emplace_hint(elements.end(), static_cast<int>(elements.size()), value);
                }
                list.object->setValue(elements);
            };
        });
    }
}

class Handler final : public ValueHandler {
public:
    void handleNewValue(IValueObject const& value) override { keepObservable(&value); }
};

/// Calls the notification `NOTIFY` of an access object through the observer interface, as the model does.
template <typename Obs, auto NOTIFY, typename T>
void addNotify(std::string const& kind, T const& value) {
    auto const notification = [kind, value](std::shared_ptr<ValueHandler> const& handler) {
        return [kind, value, handler] {
            std::shared_ptr<Obs> const observer(new ValueAccessT<Obs>(kind, handler));
            return [observer, value] { (observer.get()->*NOTIFY)(value); };
        };
    };
    addCallBenchmark("Notify/" + kind, notification(std::make_shared<Handler>()));
    addCallBenchmark("Notify/" + kind + "/noHandler", notification(nullptr));
}

void addNotifications() {
    using namespace objbus;
    addNotify<ObserverNumericInteger, &ObserverNumericInteger::notifyNewValue>("int", 1234567);
    addNotify<ObserverNumericInt64, &ObserverNumericInt64::notifyNewValue>("int64", 123456789012345LL);
    addNotify<ObserverString, &ObserverString::notifyNewValue>("string", makeStrings(1, 8).front());
    addNotify<ObserverVectorNumericInteger, &ObserverVectorNumericInteger::notifyIntegerVector>("intList",
                                                                                                Integers(10, 1234567));
    addNotify<ObserverVectorString, &ObserverVectorString::notifyStringVector>("stringList", makeStrings(3, 8));
}

}  // namespace

void addAccessObjectBenchmarks(simulator::Television& television) {
    addReadsAndWrites(television);
    addNotifications();
}

}  // namespace bench
