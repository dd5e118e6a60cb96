#include "tools/nrx_console/device_check.h"

#include <array>
#include <boost/shared_ptr.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>

#include "frame/process.h"
#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "television/root_reference.h"
#include "tools/nrx_console/model_file.h"
#include "tools/nrx_console/output.h"

namespace nrx_console {

namespace {

using namespace orvane::system::support;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// The times that the facade allows for a connect to a value and to an action.
constexpr auto VALUE_BUDGET = 1000ms;
constexpr auto ACTION_BUDGET = 100ms;

// Each check prints its line through one of the next functions. `fail` prints what the facade lacks, and returns false.

bool ok(std::string const& check, std::string const& found) {
    printLine(check + ": ok, " + found);
    return true;
}

/// Reports a difference that the facade tolerates.
bool warn(std::string const& check, std::string const& found, std::string const& expected) {
    printLine(check + ": found " + found + ", expected " + expected);
    return true;
}

bool fail(std::string const& check, std::string const& found, std::string const& expected) {
    return !warn(check, found, expected);
}

std::string textOf(std::chrono::milliseconds budget) { return std::to_string(budget.count()) + " ms"; }

std::string textOf(Clock::duration time) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.3f ms", std::chrono::duration<double, std::milli>(time).count());
    return text.data();
}

/// The text of a failure. If the status is 0, the text also says that `what` is missing.
std::string textOf(int status, std::string const& what) {
    return "status " + std::to_string(status) + (status == 0 ? " without " + what : "");
}

bool checkDeviceIdentifier() {
    std::string const identifier = orvane::NRXModelAccess().getDeviceID();
    return !identifier.empty() ? ok("device identifier", typed(identifier))
                               : fail("device identifier", "none",
                                      "a text in /APPS/deviceserial/deviceId or, if that does not open, in "
                                      "/var/local/applications/UI/deviceId");
}

bool checkLog(std::string const& check, orvane::diagnostics::LogLevel severity) {
    DebugLevelRecord record = orvane::diagnostics::levelRecord(severity);
    return debugCheckLevel(&record) != 0 ? ok(check, "admitted") : warn(check, "refused", "admitted");
}

/// Sets `root` to the root interface, or to null.
bool checkRootInterface(objbus::RootInterface*& root) {
    constexpr char CHECK[] = "root interface";
    boost::shared_ptr<frame::Interface> reference;
    auto const begin = Clock::now();
    int const status = frame::Process::getInstance().getInterfaceReference(reference, television::ROOT_INTERFACE_NAME);
    auto const time = Clock::now() - begin;
    root = static_cast<objbus::RootInterface*>(status == 0 && reference ? reference->getObject() : nullptr);
    if (root == nullptr) {
        return fail(CHECK, textOf(status, "an interface"), "an interface; no key can be checked");
    }
    // Reports a slow lookup, because each connect and each disconnect looks up the interface.
    return time <= ACTION_BUDGET ? ok(CHECK, "found in " + textOf(time))
                                 : warn(CHECK, "a lookup of " + textOf(time), textOf(ACTION_BUDGET) + " at most");
}

/// The result of a lookup: the object's type, or `OBJECT_TYPE_NONE` without an object, and a description of the result.
struct LookupResult {
    objbus::ObjectTypeSpec type;
    std::string text;
};

/// Connects to the object and disconnects. Repeats a failed connect until `budget` is spent.
LookupResult lookUp(objbus::RootInterface& root, std::string const& key, std::chrono::milliseconds budget = {}) {
    constexpr std::chrono::milliseconds PAUSE(100);
    // An observer of any class can connect. A faulty television may keep the observer after the disconnect, and notify
    // the destroyed observer of a new value. A table's observer has no operation for new values, so even such a
    // television does not call this observer for a new value.
    TableAccess observer(key);
    objbus::Object* object = nullptr;
    int status = root.connectObject(key, &observer, object);
    for (; (status != 0 || object == nullptr) && budget > PAUSE; budget -= PAUSE) {
        std::this_thread::sleep_for(PAUSE);
        status = root.connectObject(key, &observer, object);
    }
    if (status != 0 || object == nullptr) {
        return {objbus::OBJECT_TYPE_NONE, textOf(status, "an object")};
    }
    objbus::ObjectTypeSpec type = objbus::OBJECT_TYPE_NONE;
    object->getType(type);
    root.disconnectObject(key, &observer, object);
    return {type, "an object of type " + typeName(type)};
}

/// Connects as the facade does, and disconnects. Returns the status of the connect.
template <typename Access>
int connectOnce(std::string const& key, std::chrono::milliseconds budget) {
    Access access(key);
    int const status = access.connect(static_cast<int>(budget.count()));
    if (status == STATUS_OK) {
        access.disconnect();
    }
    return status;
}

constexpr auto CONNECT_STRING = connectOnce<ValueAccessT<objbus::ObserverString>>;
constexpr auto CONNECT_STRING_LIST = connectOnce<ValueAccessT<objbus::ObserverVectorString>>;

bool checkKey(objbus::RootInterface& root, std::string const& key, objbus::ObjectTypeSpec type,
              decltype(CONNECT_STRING) connect, std::chrono::milliseconds budget) {
    if (connect(key, budget) == STATUS_OK) {
        return ok(key, typeName(type));
    }
    LookupResult const found = lookUp(root, key);
    bool const isLate = found.type == type;
    return fail(key, isLate ? "no object before the budget was spent" : found.text,
                (type == objbus::OBJECT_TYPE_ACTION ? "an " : "a ") + typeName(type));
}

bool checkMissingKey() {
    constexpr char CHECK[] = "connect of a key that does not exist";
    std::string const budget = "a budget of " + textOf(VALUE_BUDGET);
    auto const begin = Clock::now();
    int const status = CONNECT_STRING("nrx.check.no.such.key", VALUE_BUDGET);
    auto const time = Clock::now() - begin;
    if (status != STATUS_ERR_CONNECT_FAILED) {
        return warn(CHECK, textOf(status, "a failure"), textOf(STATUS_ERR_CONNECT_FAILED, ""));
    }
    return time <= 2 * VALUE_BUDGET ? ok(CHECK, textOf(time) + " for " + budget)
                                    : warn(CHECK, textOf(time), "at most twice " + budget);
}

/// Blocks each notification until the disconnect has returned, but at most for `BLOCK_TIME`.
class BlockingHandler final : public ValueHandler {
public:
    void handleNewValue(IValueObject const& /*value*/) override {
        std::unique_lock lock(mutex_);
        isRunning_ = true;
        changed_.notify_all();
        isLate_ = changed_.wait_for(lock, BLOCK_TIME, [this] { return isDisconnected_; }) || isLate_;
        isRunning_ = false;
    }

    /// Waits until a notification runs. Returns false if none runs within `NOTIFICATION_TIMEOUT`.
    bool waitForNotification() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, NOTIFICATION_TIMEOUT, [this] { return isRunning_; });
    }

    /// Must be called after the disconnect has returned. Returns whether a notification is still running or starts
    /// later.
    bool isNotifiedAfterDisconnect() {
        {
            std::lock_guard const lock(mutex_);
            isDisconnected_ = true;
            changed_.notify_all();
        }
        // The access must not be destroyed before a late notification has ended.
        std::this_thread::sleep_for(BLOCK_TIME);
        std::lock_guard const lock(mutex_);
        return isLate_;
    }

    static constexpr auto NOTIFICATION_TIMEOUT = 3000ms;

private:
    static constexpr auto BLOCK_TIME = 300ms;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isRunning_ = false;
    bool isDisconnected_ = false;
    bool isLate_ = false;
};

/// `T` is the type of the key's value.
template <typename T>
bool checkDisconnectFrom(std::string const& check, std::string const& key) {
    auto const handler = std::make_shared<BlockingHandler>();
    ValueAccessT<typename television::PlainKindTraits<T>::Observer> access(key, handler);
    T value{};
    if (int const status = access.getValue(value); status != STATUS_OK) {  // The read connects.
        return warn(check, textOf(status, ""), "a value that can be read");
    }
    access.setValue(value);
    access.setValue(value);  // The second notification waits behind the first one. The disconnect must cancel it.
    if (!handler->waitForNotification()) {
        return warn(check, "no running notification of the value that was written back",
                    "one within " + textOf(BlockingHandler::NOTIFICATION_TIMEOUT));
    }
    access.disconnect();
    return handler->isNotifiedAfterDisconnect() ? fail(check, "a notification after it had returned", "none")
                                                : ok(check, "waits for a running notification");
}

bool checkDisconnect(objbus::RootInterface& root, std::string const& key) {
    std::string const check = "disconnect from " + typed(key);
    LookupResult const found = lookUp(root, key, VALUE_BUDGET);
    bool isOk = false;
    auto const checkKind = [&]<typename T>() { isOk = checkDisconnectFrom<T>(check, key); };
    return callForPlainKindNamed(typeName(found.type), checkKind)
               ? isOk
               : warn(check, found.text, "an object with a plain value");
}

}  // namespace

bool checkFacadeRequirements(std::optional<std::string> const& keyForDisconnectCheck) {
    namespace keys = orvane::model_keys;
    bool hasAll = checkDeviceIdentifier();
    checkLog("error lines of the log", orvane::diagnostics::LOG_ERROR);
    checkLog("debug lines of the log", orvane::diagnostics::LOG_DEBUG);
    objbus::RootInterface* root = nullptr;
    if (!checkRootInterface(root)) {
        return false;
    }
    for (char const* const key : {keys::COMMAND, keys::EVENT}) {
        hasAll &= checkKey(*root, key, objbus::OBJECT_TYPE_VECTOR_STRING, CONNECT_STRING_LIST, VALUE_BUDGET);
    }
    for (char const* const key : {keys::SOFTWARE_VERSION, keys::PRODUCTION_TYPE, keys::FEATURE_CODE}) {
        hasAll &= checkKey(*root, key, objbus::OBJECT_TYPE_STRING, CONNECT_STRING, VALUE_BUDGET);
    }
    hasAll &=
        checkKey(*root, keys::SOURCE_SWITCH, objbus::OBJECT_TYPE_ACTION, connectOnce<ActionAccess>, ACTION_BUDGET);
    hasAll &= checkMissingKey();
    if (keyForDisconnectCheck) {
        hasAll &= checkDisconnect(*root, expandShortKey(*keyForDisconnectCheck));
    }
    return hasAll;
}

}  // namespace nrx_console
