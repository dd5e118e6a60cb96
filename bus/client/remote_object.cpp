#include "bus/client/remote_object.h"

#include <utility>

#include "bus/client/failure.h"
#include "bus/client/remote_action.h"
#include "bus/client/remote_model.h"
#include "bus/client/remote_table.h"
#include "bus/client/remote_value.h"
#include "bus/protocol/contract.h"
#include "television/plain_object.h"
#include "television/report.h"

namespace bus {

namespace {

/// An object of a type without client operations.
class BareObject final : public ObservedRemoteObject<objbus::Object, objbus::Observer> {
public:
    using ObservedObject::ObservedObject;
    void handleSignal(sd_bus_message* /*signal*/) override {}
};

/// The object classes, by kind.
struct ObjectClasses {
    template <typename T>
    using PlainValueObject =
        television::PlainObjectAdapter<T, std::conditional_t<std::is_arithmetic_v<T>, RemoteNumber<T>, RemoteValue<T>>>;
    using Action = ActionObject;
    using Table = TableObject;
    using Bare = BareObject;
};

}  // namespace

std::string const& RemoteObject::path() const { return entry_.path; }

void RemoteObject::logFailure(char const* operation, int status) const noexcept {
    reportFailure(entry_.key, operation, status);
}

int RemoteObject::logIfFailed(char const* operation, int status) const noexcept {
    return television::reportRefusal(operation, entry_.key.c_str(), status);
}

int RemoteObject::call(char const* interface, char const* name, MessageBody arguments, MessageBody reply,
                       MessageBody lateReply) const {
    if (isWithdrawn()) {
        return television::STATUS_WITHDRAWN;
    }
    int const status = connection().call({path(), interface, name}, deadlineAfter(CALL_TIMEOUT), std::move(arguments),
                                         std::move(reply), std::move(lateReply));
    return status == television::STATUS_NOT_PUBLISHED ? television::STATUS_WITHDRAWN : status;
}

void RemoteObject::resyncWithTelevision(Completion completion) {
    auto const type = std::make_shared<int>(0);
    auto const reply = [type](sd_bus_message* message) { return readVariant(message, "i", *type); };
    auto const confirm = [this, type, completion = std::move(completion)](int status) {
        if (status == television::STATUS_OK && *type == type_) {
            television::MutexLock const lock(modelState_.mutex);
            markPublished();
            endResync();
        }
        completion(status);
    };
    connection().callAsync({path(), PROPERTIES_INTERFACE, "Get"}, CallOrigin::INTERNAL,
                           propertyArguments(OBJECT_INTERFACE, "Type"), reply, confirm);
}

MessageBody propertyArguments(char const* interface, char const* property) {
    return [=](sd_bus_message* message) { return sd_bus_message_append(message, "ss", interface, property); };
}

std::unique_ptr<RemoteObject> makeObject(SharedModelState& modelState, KeyEntry const& entry,
                                         objbus::ObjectTypeSpec type) {
    std::unique_ptr<RemoteObject> object;
    television::dispatchOnObjectType<ObjectClasses>(
        type, [&]<typename Object>() { object = std::make_unique<Object>(modelState, entry, type); });
    return object;
}

}  // namespace bus
