#pragma once

#include <memory>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

namespace orvane::system::support {

/// Receives new model values. The handler's creator and the access objects that call the handler share its ownership.
class NRX_EXPORT ValueHandler {
public:
    /// Called on the model's delivery thread. `value` is valid during the call only: copy or convert `value`. The
    /// handler may destroy the access object, and thereby itself, inside the call.
    virtual void handleNewValue(IValueObject const& value) = 0;
    virtual ~ValueHandler() = default;
};

/// A handler that calls a member operation of an object. Does not own the object. Ignores all values if the object or
/// the member is null.
template <typename T>
class ValueHandlerT : public ValueHandler {
public:
    /// A member function with the parameter of `handleNewValue`.
    using Member = void (T::*)(IValueObject const&);

    /// See `make_value_handler`, the usual way to create a handler.
    ValueHandlerT(T* boundObject, Member boundMember) : object(boundObject), member(boundMember) {}

    void handleNewValue(IValueObject const& value) override {
        if (object != nullptr && member != nullptr) {
            (object->*member)(value);  // Nothing may follow this call, which may destroy the handler.
        }
    }

protected:
    T* object;      ///< Not owned; may be null.
    Member member;  ///< May be null.
};

/// Returns a handler that calls `member` on `object`. If `member` is virtual, the handler calls the override of the
/// object's dynamic type. Disconnect or destroy the access objects that hold the handler before `object` is
/// destroyed.
template <typename T>
std::shared_ptr<ValueHandler> make_value_handler(T* object, void (T::*member)(IValueObject const&)) {
    return std::shared_ptr<ValueHandler>(new ValueHandlerT<T>(object, member));
}

}  // namespace orvane::system::support
