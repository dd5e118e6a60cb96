#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "web/list_type.h"

namespace web {

/// The end of a call: a status and, if it is 0, the JSON text of the value, or an empty text when there is none.
struct Answer {
    int status = 0;
    std::string json;
};

/// The JSON text of the array. What is no UTF-8 becomes U+FFFD.
std::string jsonOf(std::vector<std::string> const& texts);

/// A list of the facade whose writes return the model's own status.
class ListAccess : public orvane::NRXModelAccess::StringListAccess {
public:
    using ValueAccessT::ValueAccessT;

    using ValueAccessT::setValue;
    int setValue(std::vector<std::string> const& texts) override;

    [[nodiscard]] bool isConnected() const { return object != nullptr; }
    /// Connects by one attempt, and leaves the budget of reads and writes as it was.
    void connectOnce();
};

/// The facade with its access objects, from the first use by a document until the last document has gone.
///
/// Operations that may wait are the worker thread's alone; it also destroys the session.
class Session {
public:
    /// Connects nothing. `client` must outlive the session.
    explicit Session(orvane::NRXModelAccessClient& client);
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;
    /// Once it has returned, the client is not called any more.
    ~Session();

    /// @name Any thread, at once
    /// @{

    void setListening(ListType type, bool isOn);
    /// Tells the worker thread not to start the session, if it has not yet.
    void end() { isEnded_ = true; }
    [[nodiscard]] bool isEnded() const { return isEnded_; }
    /// @}

    /// @name The worker thread
    /// @{

    /// Connects both lists.
    void start() { facade_.start(); }
    [[nodiscard]] ListAccess& list(ListType type) { return *lists_.at(indexOf(type)); }
    Answer get(ListType type);
    Answer set(ListType type, std::vector<std::string> const& texts);
    Answer device();
    Answer requestStartService();
    /// @}

private:
    using StringAccess = orvane::NRXModelAccess::StringAccess;

    std::atomic<bool> isEnded_ = false;
    PerList<std::shared_ptr<ListAccess>> lists_;
    std::shared_ptr<StringAccess> softwareVersion_;
    std::shared_ptr<StringAccess> featureCode_;
    std::shared_ptr<StringAccess> productionType_;
    orvane::NRXModelAccess facade_;
};

}  // namespace web
