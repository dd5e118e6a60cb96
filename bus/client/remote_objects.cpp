#include "bus/client/remote_action.h"
#include "bus/client/remote_object.h"
#include "bus/client/remote_table.h"
#include "bus/client/remote_value.h"
#include "television/plain_object.h"

namespace bus {

namespace {

/// An object that no client operation serves.
class BareObject final : public ObjectOf<objbus::Object, objbus::Observer> {
public:
    using ObservedObject::ObservedObject;
    void handleSignal(sd_bus_message* /*signal*/) override {}
};

/// The classes of the objects, by their kinds.
struct Objects {
    template <typename T>
    using Plain =
        television::PlainObject<T, std::conditional_t<std::is_arithmetic_v<T>, RemoteNumber<T>, RemoteValue<T>>>;
    using Action = ActionObject;
    using Table = TableObject;
    using Bare = BareObject;
};

}  // namespace

std::unique_ptr<RemoteObject> makeObject(ModelContext& context, KeyEntry const& entry, objbus::ObjectTypeSpec type) {
    std::unique_ptr<RemoteObject> object;
    television::objectFor<Objects>(type,
                                   [&]<typename Object>() { object = std::make_unique<Object>(context, entry, type); });
    return object;
}

}  // namespace bus
