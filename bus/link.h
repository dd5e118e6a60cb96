#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bus/message.h"
#include "bus/tasks.h"

// Private to the platform library.

namespace bus {

using Deadline = std::chrono::steady_clock::time_point;

/// A method of one of the television's objects.
struct Method {
    std::string path;
    char const* interface;
    char const* name;
};

/// Appends what is asked, or reads what is answered; negative when that fails.
using Content = std::function<int(sd_bus_message* message)>;

/// Hears the signals of one object of the television's. Called on the link's thread.
class Listener {
public:
    Listener() = default;
    Listener(Listener const&) = delete;
    Listener& operator=(Listener const&) = delete;
    virtual ~Listener() = default;
    virtual void hear(sd_bus_message* signal) = 0;
};

/// Hears of the television itself, on the link's thread, and tells what came to those outside.
class Watcher {
public:
    Watcher() = default;
    Watcher(Watcher const&) = delete;
    Watcher& operator=(Watcher const&) = delete;
    /// A television that was there is gone, or another one takes its place.
    virtual void handleGone() = 0;
    /// A television is there.
    virtual void handleBack() = 0;
    /// Whether something is to be told. Must not ask the link for anything.
    virtual bool hasNews() = 0;
    /// Tells it. The other thread may be the link's meanwhile.
    virtual void tellNews() = 0;

protected:
    ~Watcher() = default;
};

/// The way to the television, over a bus that is looked for again whenever it is lost, and the thread on which all is
/// sent and received, which calls nobody outside this library but the log. Lives as long as the process.
///
/// There are two threads, of which one is the link's at a time. It tells what came, too, and is not the link's then,
/// since that takes as long as those who hear it like: the other thread becomes the link's when something is to be sent
/// or answered meanwhile, and only then. So what comes is mostly told without a change of threads.
class Link {
public:
    /// The watcher is called from now on.
    explicit Link(Watcher& watcher);
    Link(Link const&) = delete;
    Link& operator=(Link const&) = delete;
    ~Link();

    /// Starts the threads, after which this lives on. What was asked for before is done then.
    void begin();

    /// Waits until a bus has been reached for the first time, and returns whether it was.
    bool reached(std::chrono::milliseconds patience);

    /// Calls the method and waits for its answer, until the deadline: what nobody has begun to send by then is dropped.
    /// Returns a status. `arguments` and `answer` are called on the link's thread, and never after this has returned;
    /// an answer that comes later goes to `late`.
    int ask(Method method, Deadline deadline, Content arguments, Content answer, Content late = {});

    /// Calls the method and does not wait. `then` is called with the status when `answer` has read what was answered,
    /// or there is none; each on the link's thread.
    void request(Method method, Content arguments, Content answer, std::function<void(int status)> then);

    /// Calls the method without an answer, and does not wait. `arguments` is called later, on the link's thread.
    void tell(Method method, Content arguments);

    /// Lets the listener hear the signals of a path; what is asked for after this has returned is answered after that.
    /// One path has one listener.
    void listen(std::string const& path, std::shared_ptr<Listener> listener);
    /// The same for signals that the television sends to this process alone, which the bus passes on unasked. In an
    /// answer: the next message is heard.
    void listenAlone(std::string const& path, std::shared_ptr<Listener> listener);
    /// Lets nobody hear them, soon.
    void forget(std::string const& path);
    /// For an answer: whether the bus has refused to pass the path's signals on.
    [[nodiscard]] bool refused(std::string const& path) const;

private:
    struct Call;
    /// Whose signals are heard.
    struct Heard {
        std::shared_ptr<Listener> listener;
        bool isAlone = false;  ///< The bus has not been asked for them.
        bool isRefused = false;
        Slot asking{};
    };

    void run();
    void turn();
    void post(std::function<void()> task);
    void open();
    void close();
    int prepare();
    void retryLater();
    void follow(std::string owner);
    void place(std::string const& path, std::shared_ptr<Listener> listener, bool alone);
    void subscribe(std::string const& path, Heard& heard);
    void start(std::shared_ptr<Call> const& call);
    int make(Method const& method, Content const& arguments, Message& message) const;

    static int onAnswer(sd_bus_message* message, void* asked, sd_bus_error* error) noexcept;
    static int onListening(sd_bus_message* message, void* heard, sd_bus_error* error) noexcept;
    static int onMessage(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;
    static int onOwner(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;
    static int onOwnerChanged(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;
    static int onLost(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;

    Watcher& watcher_;
    Loop const loop_;
    Tasks tasks_;

    std::mutex turns_;
    std::condition_variable needed_;
    // Guarded by the mutex of the turns:
    bool isTurning_ = false;  ///< A thread is the link's,
    bool isTelling_ = false;  ///< and one, perhaps another, tells what came.
    bool isNeeded_ = false;   ///< Something is to be sent meanwhile, and what is answered to be read.

    std::mutex mutex_;
    std::condition_variable reachedNow_;
    bool reached_ = false;  ///< Guarded by the mutex.

    // Used on the link's thread alone.
    bool isSeeking_ = true;                               ///< A bus is to be looked for,
    Deadline nextLook_{};                                 ///< then,
    std::chrono::milliseconds pause_;                     ///< and so long after that.
    std::map<std::string, Heard, std::less<>> heard_;     ///< By their paths.
    std::map<Call const*, std::shared_ptr<Call>> calls_;  ///< Those that were sent.
    std::string owner_;                                   ///< The television's connection; empty while there is none.
    Bus bus_;                                             ///< Null while there is none.
    std::vector<Slot> slots_;                             ///< The link's own. All slots go before the bus.

    std::thread threads_[2];
};

/// Writes one line to the log. Needs no memory for a short one.
void report(char const* line) noexcept;
/// Writes that an operation on something failed, and why.
void reportFailure(std::string const& what, char const* operation, int status) noexcept;

}  // namespace bus
