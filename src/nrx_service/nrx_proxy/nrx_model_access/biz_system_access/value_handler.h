#pragma once

#include <memory>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

namespace orvane::system::support {

/// Receiver of new model values. Shared between its creator and the access objects that call it.
class NRX_EXPORT ValueHandler {
public:
    /// Called on the model's delivery thread. `value` ends with the call: copy or convert what is kept. The handler
    /// may destroy the access object, and so itself, from here.
    virtual void handleNewValue(IValueObject const& value) = 0;
    virtual ~ValueHandler() = default;
};

/// Binds a `ValueHandler` to a member operation of an object that it does not own. A null object or member makes it
/// ignore every value.
template <typename T>
class ValueHandlerT : public ValueHandler {
public:
    /// Takes a value as `handleNewValue` does.
    using Member = void (T::*)(IValueObject const&);

    /// See `make_value_handler`, the usual way to make one.
    ValueHandlerT(T* boundObject, Member boundMember) : object(boundObject), member(boundMember) {}

    void handleNewValue(IValueObject const& value) override {
        if (object != nullptr && member != nullptr) {
            (object->*member)(value);  // Last: the call may destroy this handler.
        }
    }

protected:
    T* object;      ///< Not owned; may be null.
    Member member;  ///< May be null.
};

/// A handler that calls `member` on `object`, by its dynamic type when the member is virtual. The object must outlive
/// the handler's last call: the access objects that hold the handler are disconnected or destroyed before it.
template <typename T>
std::shared_ptr<ValueHandler> make_value_handler(T* object, void (T::*member)(IValueObject const&)) {
    return std::shared_ptr<ValueHandler>(new ValueHandlerT<T>(object, member));
}

}  // namespace orvane::system::support
