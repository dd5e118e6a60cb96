// The plain values, and the actions.

#include <set>

#include "bus/contract.h"
#include "bus/remote_object.h"
#include "bus/remote_table.h"

namespace bus {

namespace {

/// What the plain-valued kinds share. `NOTIFY` is the observer's notification of a new value.
template <typename Interface, typename Obs, auto NOTIFY, typename T>
class PlainObject : public ObjectOf<Interface, Obs> {
public:
    using ObjectOf<Interface, Obs>::ObjectOf;

    void hear(sd_bus_message* signal) override {
        T value{};
        if (sd_bus_message_is_signal(signal, PROPERTIES_INTERFACE, "PropertiesChanged") > 0 &&
            readChange(signal, value)) {
            take(value);
            std::lock_guard const lock(this->model().mutex);
            announce(std::make_shared<T const>(std::move(value)));
        }
    }

    void recover() override {
        auto const value = std::make_shared<T>();
        auto const then = [this, value](int status) {
            std::lock_guard const lock(this->model().mutex);
            this->place().isMissed = status == television::STATUS_NOT_PUBLISHED;
            if (status != television::STATUS_OK) {
                bool const isUsual = status == television::STATUS_NOT_PUBLISHED ||
                                     status == television::STATUS_NO_TELEVISION || status == television::STATUS_NO_BUS;
                isUsual ? void() : this->report("read", status);
                return;
            }
            missed_ = value;
            this->link().request({MODEL_PATH, MODEL_INTERFACE, "Settle"}, {}, {},
                                 [this, value](int /*status*/) { announceMissed(value); });
        };
        this->link().request({this->path(), PROPERTIES_INTERFACE, "Get"}, askForValue, answerInto(*value), then);
    }

protected:
    /// A value that came, whether it was asked for or not. Called on the link's thread, in the order of the bus.
    virtual void take(T const& /*value*/) {}

    int write(T const& value) const {
        int const status = safely([&] {
            auto const question = [&value](sd_bus_message* message) {
                int const result = sd_bus_message_append(message, "ss", Plain<T>::INTERFACE, "Value");
                return result < 0 ? result : appendVariant(message, Plain<T>::SIGNATURE, value);
            };
            return this->ask(PROPERTIES_INTERFACE, "Set", question, {});
        });
        if (status != television::STATUS_OK) {
            this->report("write", status);
        }
        return status;
    }

    /// Sets `value` to the value now, or leaves it alone and returns another status than 0.
    int read(T& value) {
        return safely([&] { return this->ask(PROPERTIES_INTERFACE, "Get", askForValue, answerInto(value)); });
    }

    static int askForValue(sd_bus_message* message) {
        return sd_bus_message_append(message, "ss", Plain<T>::INTERFACE, "Value");
    }

    Content answerInto(T& value) {
        return [this, &value](sd_bus_message* message) {
            T read{};
            int const result = readVariant(message, Plain<T>::SIGNATURE, read);
            if (result >= 0) {
                take(read);
                value = std::move(read);
            }
            return result;
        };
    }

private:
    void begin() override {
        announced_.reset();
        missed_.reset();
    }

    /// With the model's mutex held.
    void announce(std::shared_ptr<T const> value) {
        missed_.reset();
        announced_ = std::move(value);
        this->post([told = announced_](Obs& observer) { (observer.*NOTIFY)(*told); });
    }

    /// Tells what was read, when everything has come that the television had still to tell by then: the changes that
    /// led there among it, of which the last one tells the same.
    void announceMissed(std::shared_ptr<T const> const& value) {
        std::lock_guard const lock(this->model().mutex);
        if (missed_ == value && (!announced_ || *announced_ != *value)) {
            announce(value);
        }
    }

    /// Whether the signal tells the value.
    static bool readChange(sd_bus_message* signal, T& value) {
        std::string interface;
        if (bus::read(signal, interface) < 0 || interface != Plain<T>::INTERFACE ||
            sd_bus_message_enter_container(signal, SD_BUS_TYPE_ARRAY, "{sv}") <= 0) {
            return false;
        }
        while (sd_bus_message_enter_container(signal, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
            std::string property;
            if (bus::read(signal, property) < 0) {
                return false;
            }
            if (property == "Value") {
                return readVariant(signal, Plain<T>::SIGNATURE, value) >= 0;
            }
            if (sd_bus_message_skip(signal, "v") < 0 || sd_bus_message_exit_container(signal) < 0) {
                return false;
            }
        }
        return false;
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

    int prepare(Deadline deadline) override {
        T value{};
        return this->link().ask({this->path(), PROPERTIES_INTERFACE, "Get"}, deadline, this->askForValue,
                                this->answerInto(value));
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
        return safely([&] { return this->write(television::writtenList(elements)); });
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
        int const status = safely([&] {
            return ask(
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

    void hear(sd_bus_message* signal) override {
        unsigned int id = 0;
        std::vector<objbus::Argument> results;
        int error = 0;
        if (sd_bus_message_is_signal(signal, ACTION_INTERFACE, "Result") > 0) {
            if (read(signal, id) >= 0 && read(signal, results) >= 0) {
                settle(id, [id, list = std::move(results)](auto& observer) { observer.notifyResult(id, list); });
            }
        } else if (sd_bus_message_is_signal(signal, ACTION_INTERFACE, "ExecutionError") > 0) {
            if (read(signal, id) >= 0 && read(signal, error) >= 0) {
                settle(id, [id, error](auto& observer) { observer.notifyExecutionError(id, error); });
            }
        }
    }

    void lose() override {
        for (unsigned int const id : owed_) {
            post([id](auto& observer) { observer.notifyExecutionError(id, television::STATUS_LOST); });
        }
        owed_.clear();
    }

private:
    static constexpr std::size_t MOST_OWED = 1000;  ///< An action may never be answered.

    void owe(unsigned int id) {
        std::lock_guard const lock(model().mutex);
        owed_.insert(id);
        if (owed_.size() > MOST_OWED) {
            owed_.erase(owed_.begin());
        }
    }

    template <typename Notify>
    void settle(unsigned int id, Notify const& notify) {
        std::lock_guard const lock(model().mutex);
        owed_.erase(id);
        post(notify);
    }

    std::set<unsigned int> owed_;  ///< What this process invoked, and was not answered. The model's mutex guards it.
};

/// An object that no operation serves.
class BareObject final : public ObjectOf<objbus::Object, objbus::Observer> {
public:
    using ObjectOf::ObjectOf;
    void hear(sd_bus_message* /*signal*/) override {}
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
