// The plain values, and the actions.

#include <algorithm>
#include <deque>

#include "bus/client/remote_object.h"
#include "bus/client/remote_table.h"
#include "bus/protocol/contract.h"

namespace bus {

namespace {

/// What the plain-valued kinds share. `NOTIFY` is the observer's notification of a new value.
template <typename Interface, typename Obs, auto NOTIFY, typename T>
class PlainObject : public ObjectOf<Interface, Obs> {
public:
    using ObjectOf<Interface, Obs>::ObjectOf;

    void handleSignal(sd_bus_message* signal) override {
        T value{};
        int const result = readChange(signal, value);
        if (result < 0) {
            this->report("notify", statusOfRead(result));
        } else if (result > 0) {
            take(value);
            std::lock_guard const lock(this->model().mutex);
            this->markPublished();
            announce(std::make_shared<T const>(std::move(value)));
        }
    }

    void recover(Completion completion) override {
        auto const value = std::make_shared<T>();
        auto const complete = [this, value, completion = std::move(completion)](int status) {
            if (status != television::STATUS_OK) {
                completion(status);
                return;
            }
            {
                std::lock_guard const lock(this->model().mutex);
                this->markPublished();
                missed_ = value;
            }
            // The reply may have overtaken changes of the value, which come before the one to this call.
            this->link().callAsync({MODEL_PATH, MODEL_INTERFACE, "Settle"}, Caller::PLATFORM, {}, {},
                                   [this, value, completion](int synced) {
                                       bool const isLost = synced == television::STATUS_NO_ANSWER ||
                                                           synced == television::STATUS_NO_BUS;
                                       isLost ? void() : announceMissed(value);
                                       completion(synced);
                                   });
        };
        this->link().callAsync({this->path(), PROPERTIES_INTERFACE, "Get"}, Caller::PLATFORM, askForValue(),
                               answerInto(value), complete);
    }

    void failPending() override { missed_.reset(); }

protected:
    /// A value that came, whether it was asked for or not. Called on the link's thread, in the order of the bus.
    virtual void take(T const& /*value*/) {}

    int write(T const& value) const {
        int const status = catchToStatus([&] {
            auto const arguments = [&value](sd_bus_message* message) {
                int const result = sd_bus_message_append(message, "ss", Plain<T>::INTERFACE, "Value");
                return result < 0 ? result : appendVariant(message, Plain<T>::SIGNATURE, value);
            };
            return this->call(PROPERTIES_INTERFACE, "Set", arguments, {});
        });
        if (status != television::STATUS_OK) {
            this->report("write", status);
        }
        return status;
    }

    /// Sets `value` to the value now, or leaves it alone and returns another status than 0.
    int read(T& value) {
        return catchToStatus([&] {
            auto const answer = std::make_shared<T>();
            int const status = this->call(PROPERTIES_INTERFACE, "Get", askForValue(), answerInto(answer));
            if (status == television::STATUS_OK) {
                value = std::move(*answer);
            }
            return status;
        });
    }

    static Content askForValue() { return propertyOf(Plain<T>::INTERFACE, "Value"); }

    /// Reads the value of a reply.
    Content answerInto(std::shared_ptr<T> const& value) {
        return [this, value](sd_bus_message* message) {
            int const result = readVariant(message, Plain<T>::SIGNATURE, *value);
            if (result >= 0) {
                take(*value);
            }
            return result;
        };
    }

private:
    void handleFirstObserver() override {
        announced_.reset();
        missed_.reset();
    }

    /// With the model's mutex held.
    void announce(std::shared_ptr<T const> value) {
        this->postChange(sizeOf(*value), [value](Obs& observer) { (observer.*NOTIFY)(*value); });
        announced_ = std::move(value);
        missed_.reset();
        this->endRecovery();
    }

    /// Tells what was read, when everything has come that the television had still to tell by then: the changes that
    /// led there among it, of which the last one tells the same.
    void announceMissed(std::shared_ptr<T const> const& value) {
        std::lock_guard const lock(this->model().mutex);
        if (missed_ != value || !this->isPublished()) {
            return;
        }
        if (!announced_ || *announced_ != *value) {
            announce(value);
        }
        this->endRecovery();
    }

    /// Returns 1 when the signal has the value, 0 when it has something else, and less when the value cannot be read.
    static int readChange(sd_bus_message* signal, T& value) {
        if (sd_bus_message_is_signal(signal, PROPERTIES_INTERFACE, "PropertiesChanged") <= 0) {
            return 0;
        }
        std::string interface;
        int result = bus::read(signal, interface);
        if (result < 0 || interface != Plain<T>::INTERFACE) {
            return std::min(result, 0);
        }
        result = sd_bus_message_enter_container(signal, SD_BUS_TYPE_ARRAY, "{sv}");
        while (result >= 0 && sd_bus_message_at_end(signal, 0) == 0) {
            std::string property;
            result = sd_bus_message_enter_container(signal, SD_BUS_TYPE_DICT_ENTRY, "sv");
            result = result < 0 ? result : bus::read(signal, property);
            if (result >= 0 && property == "Value") {
                result = readVariant(signal, Plain<T>::SIGNATURE, value);
                return result < 0 ? result : 1;
            }
            result = result < 0 ? result : sd_bus_message_skip(signal, "v");
            result = result < 0 ? result : sd_bus_message_exit_container(signal);
        }
        std::vector<std::string> invalidated;
        result = result < 0 ? result : sd_bus_message_exit_container(signal);
        result = result < 0 ? result : bus::read(signal, invalidated);
        bool const isInvalidated = std::count(invalidated.begin(), invalidated.end(), "Value") != 0;
        return result < 0 || isInvalidated ? -EBADMSG : 0;  // The interface says that the value comes along.
    }

    // The model's mutex guards these:
    std::shared_ptr<T const> announced_;  ///< What the observers heard last.
    std::shared_ptr<T const> missed_;     ///< What is to be told unless a change comes first.
};

/// A number, which is read without a status: what cannot be read is what it was last known to be.
template <typename Interface, typename Obs, typename T>
class NumberObject final : public PlainObject<Interface, Obs, &Obs::notifyNewValue, T> {
public:
    using PlainObject<Interface, Obs, &Obs::notifyNewValue, T>::PlainObject;

    int setValue(T value) override { return this->write(value); }

    T getValue() override {
        T value{};
        return this->read(value) == television::STATUS_OK ? value : last_.load();
    }

    void prepare(Completion completion) override {
        this->link().callAsync({this->path(), PROPERTIES_INTERFACE, "Get"}, Caller::CLIENT, this->askForValue(),
                               this->answerInto(std::make_shared<T>()), std::move(completion));
    }

private:
    void take(T const& value) override { last_ = value; }

    std::atomic<T> last_ = 0;
};

class StringObject final : public PlainObject<objbus::ObjectString, objbus::ObserverString,
                                              &objbus::ObserverString::notifyNewValue, std::string> {
public:
    using PlainObject::PlainObject;
    int setValue(std::string const& value) override { return write(value); }
    int getValue(std::string& value) override { return read(value); }
};

/// A list. What is written becomes the whole of it, in the order of the positions.
template <typename Interface, typename Obs, auto NOTIFY, typename Element>
class ListObject final : public PlainObject<Interface, Obs, NOTIFY, std::vector<Element>> {
public:
    using PlainObject<Interface, Obs, NOTIFY, std::vector<Element>>::PlainObject;

    int platformReserved() override { return television::STATUS_NOT_SUPPORTED; }

    int setValue(std::map<int, Element> const& elements) override {
        return catchToStatus([&] { return this->write(television::writtenList(elements)); });
    }

    int getValue(std::vector<Element>& values) override { return this->read(values); }
};

using IntegerObject = NumberObject<objbus::ObjectNumericInteger, objbus::ObserverNumericInteger, int>;
using Int64Object = NumberObject<objbus::ObjectNumericInt64, objbus::ObserverNumericInt64, long long>;
using IntegerListObject = ListObject<objbus::ObjectVectorNumericInteger, objbus::ObserverVectorNumericInteger,
                                     &objbus::ObserverVectorNumericInteger::notifyIntegerVector, int>;
using StringListObject = ListObject<objbus::ObjectVectorString, objbus::ObserverVectorString,
                                    &objbus::ObserverVectorString::notifyStringVector, std::string>;

/// An action, whose answers everybody hears who is connected.
class ActionObject final : public ObjectOf<objbus::ObjectAction, objbus::ObserverAction> {
public:
    using ObjectOf::ObjectOf;

    int platformReserved1() override { return television::STATUS_NOT_SUPPORTED; }
    int platformReserved2() override { return television::STATUS_NOT_SUPPORTED; }

    int invoke(unsigned int& actionId, std::vector<objbus::Argument> const& arguments) override {
        int const status = catchToStatus([&] {
            return call(
                ACTION_INTERFACE, "Invoke",
                [&arguments](sd_bus_message* message) { return append(message, arguments); },
                [this, &actionId](sd_bus_message* message) {
                    int const result = read(message, actionId);
                    if (result >= 0) {
                        owe(actionId);
                    }
                    return result;
                });
        });
        if (status == television::STATUS_NOT_CARRIED) {
            report("invoke", status);
        }
        return status;
    }

    void handleSignal(sd_bus_message* signal) override {
        unsigned int id = 0;
        std::vector<objbus::Argument> results;
        int error = 0;
        bool const isResult = sd_bus_message_is_signal(signal, ACTION_INTERFACE, "Result") > 0;
        if (!isResult && sd_bus_message_is_signal(signal, ACTION_INTERFACE, "ExecutionError") <= 0) {
            return;
        }
        int const result = isResult ? readAll(signal, id, results) : readAll(signal, id, error);
        if (result < 0) {
            report("notify", statusOfRead(result));
        } else if (isResult) {
            answer(id, [id, list = std::move(results)](auto& observer) { observer.notifyResult(id, list); });
        } else {
            answer(id, [id, error](auto& observer) { observer.notifyExecutionError(id, error); });
        }
    }

    void failPending() override {
        for (unsigned int const id : owed_) {
            post([id](auto& observer) { observer.notifyExecutionError(id, television::STATUS_LOST); });
        }
        owed_.clear();
    }

private:
    static constexpr std::size_t MOST_OWED = 1000;  ///< An action may never be answered.

    void owe(unsigned int id) {
        std::lock_guard const lock(model().mutex);
        owed_.push_back(id);
        if (owed_.size() > MOST_OWED) {
            owed_.pop_front();
        }
    }

    template <typename Notify>
    void answer(unsigned int id, Notify notify) {
        std::lock_guard const lock(model().mutex);
        owed_.erase(std::remove(owed_.begin(), owed_.end(), id), owed_.end());
        post(std::move(notify));
    }

    std::deque<unsigned int> owed_;  ///< What this process invoked, and was not answered. The model's mutex guards it.
};

/// An object that no operation serves.
class BareObject final : public ObjectOf<objbus::Object, objbus::Observer> {
public:
    using ObjectOf::ObjectOf;
    void handleSignal(sd_bus_message* /*signal*/) override {}
};

}  // namespace

std::unique_ptr<RemoteObject> makeObject(Model& model, Place& place, objbus::ObjectTypeSpec type) {
    switch (type) {  // A client casts an object to the kind that its type names, so that it must be one.
        case objbus::OBJECT_TYPE_NUMERIC_INTEGER:
            return std::make_unique<IntegerObject>(model, place, type);
        case objbus::OBJECT_TYPE_NUMERIC_INT64:
            return std::make_unique<Int64Object>(model, place, type);
        case objbus::OBJECT_TYPE_STRING:
            return std::make_unique<StringObject>(model, place, type);
        case objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return std::make_unique<IntegerListObject>(model, place, type);
        case objbus::OBJECT_TYPE_VECTOR_STRING:
            return std::make_unique<StringListObject>(model, place, type);
        case objbus::OBJECT_TYPE_ACTION:
            return std::make_unique<ActionObject>(model, place, type);
        case objbus::OBJECT_TYPE_VECTOR_INTEGER:
            return std::make_unique<BareObject>(model, place, type);
        case objbus::OBJECT_TYPE_TABLE:
        case objbus::OBJECT_TYPE_NONE:
            break;
    }
    // Also for a type that names no kind: who wants a table takes such an object for one.
    return std::make_unique<TableObject>(model, place, type);
}

}  // namespace bus
