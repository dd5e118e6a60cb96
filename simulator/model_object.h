#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator/model.h"
#include "television/iterators.h"
#include "television/kinds.h"
#include "television/observed_object.h"
#include "television/plain_object.h"
#include "television/report.h"
#include "television/table_iterator.h"

namespace simulator {

/// An object of the simulated model. The virtual operations and `isWithdrawn` are called with the model's mutex held.
class ModelObject {
public:
    ModelObject(Model& model, KeyEntry& entry, objbus::ObjectTypeSpec type)
        : model_(model), entry_(entry), type_(type) {}
    ModelObject(ModelObject const&) = delete;
    ModelObject& operator=(ModelObject const&) = delete;
    virtual ~ModelObject() = default;

    /// Returns this object as the `objbus::Object` that clients receive.
    virtual objbus::Object& object() = 0;
    virtual void addRegistration(objbus::Observer* observer) = 0;
    /// Ends the observer's registrations and returns their number.
    virtual std::size_t removeRegistrations(objbus::Observer const* observer) = 0;
    [[nodiscard]] virtual std::size_t observerCount() const = 0;

    /// Changes the value and returns true, or returns false if the object has no value of this type.
    virtual bool replaceValue(Value const& /*value*/) { return false; }
    [[nodiscard]] virtual std::optional<Value> value() const { return {}; }

    [[nodiscard]] objbus::ObjectTypeSpec type() const { return type_; }
    [[nodiscard]] Model& model() const { return model_; }
    [[nodiscard]] KeyEntry& entry() const { return entry_; }
    [[nodiscard]] Delivery& delivery() const { return model_.delivery; }
    [[nodiscard]] bool isWithdrawn() const { return entry_.published != this; }

    /// Called with the mutex released.
    int logIfFailed(char const* operation, int status) const {  // NOLINT(modernize-use-nodiscard): may be ignored.
        return television::reportRefusal(operation, entry_.key.c_str(), status);
    }

protected:
    void beforeGetType() {
        entry_.throwIfFaulty(Call::type);
        auto& queries = entry_.typeQueries;
        queries.store(queries.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }

private:
    Model& model_;
    KeyEntry& entry_;
    objbus::ObjectTypeSpec const type_;
};

template <typename Interface, typename Obs>
using ObservedModelObject = ObservedObject<Interface, Obs, ModelObject>;

/// Keeps the model alive and locked while a client's operation on an object runs.
struct LockedModel {
    explicit LockedModel(ModelObject const& object, Call call = Call::none)
        : model(object.model().shared_from_this()), lock(model->mutex) {
        object.entry().throwIfFaulty(call);
    }

    std::shared_ptr<Model> const model;
    MutexLock lock;
};

/// An object with a plain value.
template <typename T>
class StoredValue
    : public ObservedModelObject<typename PlainKindTraits<T>::Object, typename PlainKindTraits<T>::Observer> {
public:
    StoredValue(Model& model, KeyEntry& entry, objbus::ObjectTypeSpec type, T value = {})
        : StoredValue::ObservedObject(model, entry, type), value_(std::move(value)) {}

    bool replaceValue(Value const& value) final {
        T const* const changed = std::get_if<T>(&value);
        if (changed == nullptr) {
            return false;
        }
        value_ = *changed;
        this->postChange(payloadSize(value_),
                         [changedTo = value_](auto& observer) { (observer.*PlainKindTraits<T>::NOTIFY)(changedTo); });
        return true;
    }

    [[nodiscard]] std::optional<Value> value() const final { return value_; }

protected:
    template <typename Written>
    int write(Written const& written) {
        return this->logIfFailed("write", changeUnlessWithdrawn(valueFromWriteArgument(written)));
    }

    T readNumber() const {
        LockedModel const operation(*this, Call::read);
        ++this->entry().callCounts.reads;
        return value_;
    }

    int read(T& value) const { return this->logIfFailed("read", readUnlessFaulty(value)); }

private:
    int changeUnlessWithdrawn(T value) {
        LockedModel const operation(*this, Call::write);
        ++this->entry().callCounts.writes;
        if (this->isWithdrawn()) {
            return STATUS_WITHDRAWN;
        }
        replaceValue(std::move(value));
        return STATUS_OK;
    }

    int readUnlessFaulty(T& value) const {
        LockedModel const operation(*this, Call::read);
        ++this->entry().callCounts.reads;
        if (this->isWithdrawn()) {
            return STATUS_WITHDRAWN;
        }
        ReadFault const& fault = this->entry().readFault;
        if (fault.halfWay) {
            value.assign(value_.begin(), value_.begin() + static_cast<std::ptrdiff_t>(value_.size() / 2));
        } else if (fault.status == STATUS_OK) {
            value = value_;
        }
        return fault.status;
    }

    T value_;
};

/// An action. The script runs on the thread that calls `invoke`. The delivery thread passes the script's answer to the
/// observers.
class ActionObject final : public ObservedModelObject<objbus::ObjectAction, objbus::ObserverAction> {
public:
    ActionObject(Model& model, KeyEntry& entry, objbus::ObjectTypeSpec type, ActionScript script = {});
    int platformReserved1() override { return STATUS_NOT_SUPPORTED; }
    int platformReserved2() override { return STATUS_NOT_SUPPORTED; }
    int invoke(unsigned int& actionId, std::vector<objbus::Argument> const& arguments) override {
        return logIfFailed("invoke", runScript(actionId, arguments));
    }

private:
    int runScript(unsigned int& actionId, std::vector<objbus::Argument> const& arguments);

    ActionScript const script_;
};

class TableObject;

/// An iterator over a table. Posts its notifications in the order of the requested operations.
class Iterator final : public objbus::TableIterator {
public:
    Iterator(TableObject& table, objbus::ObserverTableIterator* observer, std::vector<int> columns);

    void requestTotalCount() override;
    void seekToRow(int row) override;
    void seekToContent(std::string const& content) override;
    void readRow() override;
    void readRowChunk(int count) override;
    void commit() override;

    // Called with the model's mutex held:
    template <typename Notify>
    void post(Notify notify) const;
    [[nodiscard]] std::shared_ptr<Registration> registration() const { return registration_; }

private:
    [[nodiscard]] bool hasRow(int row) const;
    [[nodiscard]] std::vector<std::string> selectedCells(int row) const;

    TableObject& table_;
    std::shared_ptr<TypedRegistration<objbus::ObserverTableIterator>> const registration_;
    std::vector<int> const columns_;
    int cursor_ = 0;
};

/// A table with its rows and its iterators.
class TableObject final : public ObservedModelObject<objbus::ObjectTable, objbus::ObserverTable> {
public:
    TableObject(Model& model, KeyEntry& entry, objbus::ObjectTypeSpec type, Rows rows = {});
    objbus::TableIterator* createIterator(objbus::IteratorType const& type, objbus::ObserverTableIterator* observer,
                                          std::vector<objbus::TableSelection> const& selections,
                                          std::vector<int> const& columns,
                                          std::vector<objbus::TableOrder> const& orders) override;
    int destroyIterator(objbus::TableIterator* iterator) override;

    // Called with the model's mutex held:
    void setRows(Rows rows);
    [[nodiscard]] Rows const& rows() const { return rows_; }

private:
    int recordAndCheckRequest(IteratorRequest request);
    int destroyUnlessFaulty(objbus::TableIterator* iterator);

    Rows rows_;
    Iterators<Iterator, objbus::TableIterator> iterators_;
};

/// The object classes, by kind.
struct ObjectClasses {
    template <typename T>
    using PlainValueObject = PlainObjectAdapter<T, StoredValue<T>>;
    using Action = ActionObject;
    using Table = TableObject;
    /// The class of an object whose type has no client operations.
    using Bare = ObservedModelObject<objbus::Object, objbus::Observer>;
};

}  // namespace simulator
