#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "client/property.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "web/list_type.h"

namespace web {

/// The result of a call: a status, and the JSON text of the value. The text is empty if the status is not 0 or the call
/// has no value.
struct Answer {
    int status = 0;
    std::string json;
};

/// Returns the array's JSON text. Invalid UTF-8 becomes U+FFFD.
std::string jsonOf(std::vector<std::string> const& texts);

/// The access object of one of the facade's lists.
class ListAccess : public orvane::NRXModelAccess::StringListAccess {
public:
    using ValueAccessT::ValueAccessT;

    [[nodiscard]] bool isConnected() const { return object != nullptr; }
    /// Makes one attempt to connect. A read or write that connects uses the time limit of the last `connect`. Therefore
    /// `tryConnect` restores the limit after `connect(0)`.
    void tryConnect() noexcept;
};

/// The facade with its access objects. Exists from the first document's attach until the last document's detach.
///
/// Only the worker thread calls the operations that may block. The worker thread also destroys the session.
class FacadeSession {
public:
    /// Does not connect. `client` must outlive the session.
    explicit FacadeSession(orvane::NRXModelAccessClient& client);
    FacadeSession(FacadeSession const&) = delete;
    FacadeSession& operator=(FacadeSession const&) = delete;
    /// After the destructor has returned, the session does not call the client.
    ~FacadeSession();

    // Any thread may call the following functions, which never block:

    void setListening(ListType type, bool isOn);
    /// Prevents a start that the worker thread has not begun.
    void cancelQueuedStart() { isQueuedStartCancelled_ = true; }
    [[nodiscard]] bool isQueuedStartCancelled() const { return isQueuedStartCancelled_; }

    // Only the worker thread may call the following functions:

    /// Connects both lists.
    void start() { facade_.start(); }
    [[nodiscard]] ListAccess& list(ListType type) { return *lists_.at(indexOf(type)); }
    Answer get(ListType type);
    Answer set(ListType type, std::vector<std::string> const& texts);
    Answer readDeviceInfo();
    Answer requestStartService();

private:
    using StringAccess = orvane::NRXModelAccess::StringAccess;
    using Property = orvane::client::Property<std::vector<std::string>>;

    std::atomic<bool> isQueuedStartCancelled_ = false;
    PerList<std::shared_ptr<ListAccess>> lists_;
    PerList<Property> propertiesForWriting_;  // Used because `ListAccess::setValue` does not return the model's status.
    std::shared_ptr<StringAccess> softwareVersion_;
    std::shared_ptr<StringAccess> featureCode_;
    std::shared_ptr<StringAccess> productionType_;
    orvane::NRXModelAccess facade_;
};

}  // namespace web
