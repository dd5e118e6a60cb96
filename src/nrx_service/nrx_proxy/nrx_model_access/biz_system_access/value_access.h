#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/observer.h"

namespace orvane::system::support {

/// The access object of one plain-valued model object. `Obs` is the model's observer interface for the object's type:
/// `ObserverNumericInteger`, `ObserverNumericInt64`, `ObserverString`, `ObserverVectorNumericInteger` or
/// `ObserverVectorString` of `objbus`; the library holds the instances for these five.
///
/// Watching a value, with a handler that is bound to a member of the watcher:
///
///     auto const handler = make_value_handler(this, &Panel::onVolumeChanged);
///     ValueAccessT<objbus::ObserverNumericInteger> volume("volume", handler);
///     if (volume.connect(1000) != STATUS_OK) { ... }
///
/// A fake that takes its place in a test, of the facade for one, overrides what its user calls:
///
///     struct FakeList : ValueAccessT<objbus::ObserverVectorString> {
///         using ValueAccessT::getValue, ValueAccessT::setValue;  // The other overloads.
///         int connect(int) override { return STATUS_OK; }
///         int getValue(std::vector<std::string>& out) override { return out = list, STATUS_OK; }
///         int setValue(std::vector<std::string> const& value) override { return list = value, STATUS_OK; }
///         std::vector<std::string> list;
///     };
///
/// Destroying it disconnects it; a failure of the platform's own ends there, and the registration may then remain. A
/// derived class with state of its own, or with a notification of its own, disconnects in its own destructor, and
/// catches what the platform throws: here that state is gone already. It may be disconnected or destroyed from inside
/// its own notification: nothing of it is touched after its handler has returned.
template <typename Obs>
class NRX_EXPORT ValueAccessT : public ValueAccessBase, public Obs {
public:
    /// With an empty key and no handler.
    ValueAccessT();
    /// Without a handler: for reads and writes. Connects nothing.
    explicit ValueAccessT(std::string key);
    /// The usual way to install a handler: no notification can arrive before it.
    ValueAccessT(std::string key, std::shared_ptr<ValueHandler> newHandler);
    /// A fresh object, as from the default constructor: nothing is taken from `other`.
    ValueAccessT(ValueAccessT const& other);
    ValueAccessT& operator=(ValueAccessT const&) = delete;  ///< The model knows the object by its address and key.
    ~ValueAccessT() override;

    /// 0 connected or connected already, 5 not obtained within the budget (or no root interface), 6 an object of
    /// another type, 8 for the key "missing", which is never asked for.
    int connect(int timeoutMs) override;
    int disconnect() override;

    // Which one overrides an operation of `Obs` depends on the instance, so that none can say so.
    // NOLINTBEGIN(modernize-use-override)
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Winconsistent-missing-override"
#endif

    /// @name Notifications
    /// @{

    /// Builds one value of its kind and hands it to the handler through `onNewValue`, before it returns; without a
    /// handler it does neither. The model calls the one that belongs to `Obs`, on its delivery thread.
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
