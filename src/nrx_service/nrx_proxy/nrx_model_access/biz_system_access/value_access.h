#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/observer.h"

namespace orvane::system::support {

/// The access object of one plain-valued model object. `Obs` is the model's observer interface for the object's type:
/// `ObserverNumericInteger`, `ObserverNumericInt64`, `ObserverString`, `ObserverVectorNumericInteger` or
/// `ObserverVectorString` of `objbus`. The library contains the instances for these five interfaces.
///
/// A client receives a value's changes through a handler, which calls a member of the receiver:
///
///     auto const handler = make_value_handler(this, &Panel::onVolumeChanged);
///     ValueAccessT<objbus::ObserverNumericInteger> volume("volume", handler);
///     if (volume.connect(1000) != STATUS_OK) { ... }
///
/// A test, for example a test of the facade, can use a fake access object. The fake overrides the operations that the
/// tested code calls:
///
///     struct FakeList : ValueAccessT<objbus::ObserverVectorString> {
///         using ValueAccessT::getValue, ValueAccessT::setValue;  // The other overloads.
///         int connect(int) override { return STATUS_OK; }
///         int getValue(std::vector<std::string>& out) override { return out = list, STATUS_OK; }
///         int setValue(std::vector<std::string> const& value) override { return list = value, STATUS_OK; }
///         std::vector<std::string> list;
///     };
///
/// The destructor disconnects and catches exceptions of the platform. If the platform throws, the model may keep the
/// pointer to the destroyed observer. If a derived class adds state or overrides a notification, and its objects may be
/// connected, the class must disconnect in its own destructor, because notifications arrive until the disconnect. This
/// destructor must catch exceptions of the platform. The access object may be disconnected or destroyed inside its
/// notification, because the notification does not use the access object after the handler has returned.
template <typename Obs>
class NRX_EXPORT ValueAccessT : public ValueAccessBase, public Obs {
public:
    /// Has an empty key and no handler.
    ValueAccessT();
    /// Installs no handler, for an access that only reads and writes. Does not connect.
    explicit ValueAccessT(std::string key);
    /// Installs the handler before any notification can arrive. Does not connect.
    ValueAccessT(std::string key, std::shared_ptr<ValueHandler> newHandler);
    /// Like the default constructor: copies nothing from `other`.
    ValueAccessT(ValueAccessT const& other);
    ValueAccessT& operator=(ValueAccessT const&) = delete;  ///< The model holds this observer, under this key.
    ~ValueAccessT() override;

    /// Returns 0 if connected, 5 if there is no root interface or no object within the budget, and 6 if the object has
    /// another type. For the key "missing", returns 8 without an attempt.
    int connect(int timeoutMs) override;
    int disconnect() override;

    // No notification has `override`, because each instance overrides only the notification of its `Obs`.
    // NOLINTBEGIN(modernize-use-override)
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Winconsistent-missing-override"
#endif

    /// @name Notifications
    /// @{

    /// Creates a `ValueObject` from the argument and passes the object to the handler through `onNewValue`. Without
    /// a handler, writes trace lines only. The model calls only the notification of `Obs`, on the model's delivery
    /// thread.
    virtual void notifyNewValue(int value);
    virtual void notifyNewValue(long long value);
    virtual void notifyNewValue(std::string const& value);
    virtual void notifyIntegerVector(std::vector<int> const& values);
    virtual void notifyStringVector(std::vector<std::string> const& values);
    /// @}

#ifdef __clang__
#pragma clang diagnostic pop
#endif
    // NOLINTEND(modernize-use-override)
};

extern template class ValueAccessT<objbus::ObserverNumericInteger>;
extern template class ValueAccessT<objbus::ObserverNumericInt64>;
extern template class ValueAccessT<objbus::ObserverString>;
extern template class ValueAccessT<objbus::ObserverVectorNumericInteger>;
extern template class ValueAccessT<objbus::ObserverVectorString>;

}  // namespace orvane::system::support
