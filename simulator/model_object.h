#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator/model.h"
#include "television/iterators.h"
#include "television/observers.h"
#include "television/table_iterator.h"

// Private to the simulator.

namespace simulator {

/// The model's side of an object. The operations here are called with the model's mutex held.
class ModelObject {
public:
    ModelObject(Model& model, Key& key) : model_(model), key_(key) {}
    ModelObject(ModelObject const&) = delete;
    ModelObject& operator=(ModelObject const&) = delete;
    virtual ~ModelObject() = default;

    /// The client's side of it.
    virtual objbus::Object& object() = 0;
    virtual void connect(objbus::Observer* observer) = 0;
    /// Ends the observer's registrations and returns whether it had any.
    virtual bool disconnect(objbus::Observer const* observer) = 0;
    [[nodiscard]] virtual int registrations() const = 0;

    [[nodiscard]] virtual objbus::ObjectTypeSpec type() const = 0;
    /// Changes the value and returns true when the object has one of this type.
    virtual bool change(Value const& /*value*/) { return false; }
    [[nodiscard]] virtual std::optional<Value> value() const { return {}; }

    [[nodiscard]] Model& model() const { return model_; }
    [[nodiscard]] Key& key() const { return key_; }
    [[nodiscard]] bool withdrawn() const { return key_.published != this; }

private:
    Model& model_;
    Key& key_;
};

/// Keeps the model alive and locked while an operation that a client started on an object runs.
struct Operation {
    explicit Operation(ModelObject const& object, Call call = Call::none)
        : model(object.model().shared_from_this()), lock(model->mutex) {
        object.key().failAt(call);
    }

    std::shared_ptr<Model> const model;
    std::unique_lock<std::mutex> lock;
};

/// What all kinds share: the type, and the observers.
template <typename Interface, typename Obs>
class ObjectOf : public Interface, public ModelObject {
public:
    ObjectOf(Model& model, Key& key, objbus::ObjectTypeSpec type) : ModelObject(model, key), type_(type) {}

    int getType(objbus::ObjectTypeSpec& type) final {
        key().failAt(Call::type);
        auto& queries = key().typeQueries;
        queries.store(queries.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        type = type_;
        return STATUS_OK;
    }

    objbus::Object& object() final { return *this; }
    [[nodiscard]] objbus::ObjectTypeSpec type() const final { return type_; }

    void connect(objbus::Observer* observer) final { observers_.add(observer, &key()); }
    bool disconnect(objbus::Observer const* observer) final {
        return observers_.remove(observer, model().delivery) != 0;
    }
    [[nodiscard]] int registrations() const final { return static_cast<int>(observers_.size()); }

protected:
    template <typename Notify>
    void post(Notify notify) {
        observers_.post(model().delivery, std::move(notify));
    }
    template <typename Notify>
    void postChange(std::size_t payload, Notify notify) {
        observers_.postChange(model().delivery, payload, std::move(notify));
    }

private:
    objbus::ObjectTypeSpec const type_;
    Observers<Obs> observers_;
};

/// For kinds that no client operation serves.
using BareObject = ObjectOf<objbus::Object, objbus::Observer>;

/// What the plain-valued kinds share. `NOTIFY` is the observer's notification of a new value.
template <typename Interface, typename Obs, auto NOTIFY, typename T>
class PlainObject : public ObjectOf<Interface, Obs> {
public:
    PlainObject(Model& model, Key& key, objbus::ObjectTypeSpec type, T value)
        : ObjectOf<Interface, Obs>(model, key, type), value_(std::move(value)) {}

    bool change(Value const& value) final {
        T const* const changed = std::get_if<T>(&value);
        if (changed == nullptr) {
            return false;
        }
        value_ = *changed;
        this->postChange(sizeOf(value_), [changedTo = value_](Obs& observer) { (observer.*NOTIFY)(changedTo); });
        return true;
    }

    [[nodiscard]] std::optional<Value> value() const final { return value_; }

protected:
    int write(T value) {
        Operation const operation(*this, Call::write);
        ++this->key().counts.writes;
        if (this->withdrawn()) {
            return STATUS_WITHDRAWN;
        }
        change(std::move(value));
        return STATUS_OK;
    }

    T read() const {
        Operation const operation(*this, Call::read);
        ++this->key().counts.reads;
        return value_;
    }

    int read(T& value) const {
        Operation const operation(*this, Call::read);
        ++this->key().counts.reads;
        if (this->withdrawn()) {
            return STATUS_WITHDRAWN;
        }
        ReadFault const& fault = this->key().readFault;
        if (fault.halfWay) {
            value.assign(value_.begin(), value_.begin() + static_cast<std::ptrdiff_t>(value_.size() / 2));
        } else if (fault.status == STATUS_OK) {
            value = value_;
        }
        return fault.status;
    }

private:
    T value_;
};

/// A number, which is read without a status.
template <typename Interface, typename Obs, typename T>
class NumberObject final : public PlainObject<Interface, Obs, &Obs::notifyNewValue, T> {
public:
    using PlainObject<Interface, Obs, &Obs::notifyNewValue, T>::PlainObject;
    int setValue(T value) override { return this->write(value); }
    T getValue() override { return this->read(); }
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

    int platformReserved() override { return STATUS_NOT_SUPPORTED; }

    int setValue(std::map<int, Element> const& elements) override { return this->write(writtenList(elements)); }

    int getValue(std::vector<Element>& values) override { return this->read(values); }
};

using IntegerObject = NumberObject<objbus::ObjectNumericInteger, objbus::ObserverNumericInteger, int>;
using Int64Object = NumberObject<objbus::ObjectNumericInt64, objbus::ObserverNumericInt64, long long>;
using IntegerListObject = ListObject<objbus::ObjectVectorNumericInteger, objbus::ObserverVectorNumericInteger,
                                     &objbus::ObserverVectorNumericInteger::notifyIntegerVector, int>;
using StringListObject = ListObject<objbus::ObjectVectorString, objbus::ObserverVectorString,
                                    &objbus::ObserverVectorString::notifyStringVector, std::string>;

/// An action. Its script runs on the caller's thread, and what the script says is sent on the delivery thread.
class ActionObject final : public ObjectOf<objbus::ObjectAction, objbus::ObserverAction> {
public:
    ActionObject(Model& model, Key& key, ActionScript script);
    int platformReserved1() override { return STATUS_NOT_SUPPORTED; }
    int platformReserved2() override { return STATUS_NOT_SUPPORTED; }
    int invoke(unsigned int& actionId, std::vector<objbus::Argument> const& arguments) override;

private:
    ActionScript const script_;
};

class TableObject;

/// An iterator over a table, whose notifications are posted in the order of the operations that ask for them.
class Iterator final : public objbus::TableIterator {
public:
    Iterator(TableObject& table, objbus::ObserverTableIterator* observer, std::vector<int> columns);

    void requestTotalCount() override;
    void seekToRow(int row) override;
    void seekToContent(std::string const& content) override;
    void readRow() override;
    void readRowChunk(int count) override;
    void commit() override;

    // With the model's mutex held:
    template <typename Notify>
    void post(Notify notify) const;
    [[nodiscard]] std::shared_ptr<Registration> registration() const { return registration_; }

private:
    [[nodiscard]] bool hasRow(int row) const;
    [[nodiscard]] std::vector<std::string> selectedColumns(int row) const;

    TableObject& table_;
    std::shared_ptr<TypedRegistration<objbus::ObserverTableIterator>> const registration_;
    std::vector<int> const columns_;
    int cursor_ = 0;
};

/// A table with its rows, and the iterators that were made on it.
class TableObject final : public ObjectOf<objbus::ObjectTable, objbus::ObserverTable> {
public:
    TableObject(Model& model, Key& key, objbus::ObjectTypeSpec type, Rows rows);
    objbus::TableIterator* createIterator(objbus::IteratorType const& type, objbus::ObserverTableIterator* observer,
                                          std::vector<objbus::TableSelection> const& selections,
                                          std::vector<int> const& columns,
                                          std::vector<objbus::TableOrder> const& orders) override;
    int destroyIterator(objbus::TableIterator* iterator) override;

    // With the model's mutex held:
    void setRows(Rows rows);
    [[nodiscard]] Rows const& rows() const { return rows_; }

private:
    Rows rows_;
    Iterators<Iterator, objbus::TableIterator> iterators_;
};

}  // namespace simulator
