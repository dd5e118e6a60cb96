#pragma once

#include <deque>
#include <vector>

#include "bus/client/remote_object.h"

namespace bus {

/// An action. All connected observers receive the answers to all clients' invocations.
class ActionObject final : public ObservedRemoteObject<objbus::ObjectAction, objbus::ObserverAction> {
public:
    using ObservedObject::ObservedObject;

    int platformReserved1() override { return television::STATUS_NOT_SUPPORTED; }
    int platformReserved2() override { return television::STATUS_NOT_SUPPORTED; }
    int invoke(unsigned int& actionId, std::vector<objbus::Argument> const& arguments) override;

    void handleSignal(sd_bus_message* signal) override;
    /// Clang's thread safety analysis does not check this function, because the analysis cannot see that the caller
    /// locks `modelState().mutex`.
    void abandonUnfinishedOperations() NRX_NOT_ANALYSED override;

private:
    void addPendingInvocation(unsigned int id);
    template <typename Notify>
    void notifyOutcome(unsigned int id, Notify notify);

    /// The identifiers of this process's unanswered invocations.
    std::deque<unsigned int> pendingInvocations_ NRX_GUARDED_BY(modelState().mutex);
};

}  // namespace bus
