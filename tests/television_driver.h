#pragma once

#include <variant>

#include "television/value.h"
#include "television_clients.h"

/// Changes the test program's television, which runs in the process or is another program on a bus. One thread at a
/// time calls these functions. Each function returns when the television has made the change.
namespace driver {

using Key = std::string const&;
/// The reply of an action: none, the texts of results, or an execution error.
using Answer = std::variant<std::monostate, std::vector<std::string>, int>;

/// Returns whether a text may hold a zero byte, or bytes that are not UTF-8.
bool supportsArbitraryText();

void publish(Key key, television::Value const& value);
void publishTable(Key key, television::Rows const& rows);
void publishAction(Key key);
void withdraw(Key key);
void set(Key key, television::Value const& value);
void setRows(Key key, television::Rows const& rows);

/// Publishes a value, and connects a client to the value.
template <typename T>
test::Client<T> publishAndConnect(Key key, T const& value) {
    publish(key, value);
    return test::Client<T>(key);
}

/// Sets the reply of every action from now on.
void setInvokeAnswer(Answer const& answer);
void failInvokes(Key key, int status);  ///< `failInvokes` and `failReads`: status 0 ends the fault.
void failReads(Key key, int status);

/// The arguments of the newest invocation, each as "index: text". Valid after `waitForNotifications`.
std::vector<std::string> lastInvokeArguments();

/// Returns when the observers in this process have received the notifications of all earlier changes.
void waitForNotifications();

/// Calls `waitForNotifications` and returns the records of the observer since the last call.
template <typename Recorder>
auto received(Recorder& observer) {
    waitForNotifications();
    return observer.take();
}

// Only for a television on a bus: the next two functions kill the television, or the bus, and return when the clients
// have been notified of the loss. After `restartAfterLoss`, the television has the earlier objects, with the changes
// that the test made during the loss.
void killTelevision();
void killBus();  ///< The television ends, too.

/// Starts a killed bus at its earlier address, then the television. Returns after `waitForNotificationsAndResyncs`.
void restartAfterLoss();

/// Waits for notifications, and for values that the platform reads after a television starts or publishes an object.
void waitForNotificationsAndResyncs();

/// One of the two ways to lose the television, with the status of operations during the loss.
struct TelevisionLoss {
    char const* name;
    void (*lose)();
    int status;
};
inline constexpr TelevisionLoss LOSSES[] = {
    {"Television", killTelevision, television::STATUS_NO_TELEVISION},
    {"Bus", killBus, television::STATUS_NO_BUS},
};

}  // namespace driver
