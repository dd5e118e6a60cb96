#include "bus/server/server.h"

#include <poll.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <system_error>

#include "bus/server/guarded.h"
#include "bus/server/interfaces.h"
#include "bus/server/registration.h"
#include "bus/server/report.h"
#include "frame/process.h"
#include "television/root_reference.h"

namespace bus::server {

namespace {

constexpr std::chrono::seconds LONGEST_FLUSH{5};

objbus::RootInterface& rootInterface() {
    boost::shared_ptr<frame::Interface> reference;
    frame::Process::getInstance().getInterfaceReference(reference, television::ROOT_INTERFACE_NAME);
    return *static_cast<objbus::RootInterface*>(reference->getObject());
}

}  // namespace

Bus connectedBus(std::string const& address) {
    Bus bus;
    int result = open(bus, address.empty() ? addressFromEnvironment() : address);
    char const* name = nullptr;
    result = result < 0 ? result : sd_bus_get_unique_name(bus.get(), &name);  // Waits until it is connected.
    if (result < 0) {
        throw std::runtime_error("the bus " + (address.empty() ? "" : address + ' ') +
                                 "cannot be reached: " + std::generic_category().message(-result));
    }
    return bus;
}

Server::Server(simulator::Television& television, Ground& ground, Bus connected, Permissions permissions)
    : television_(television),
      ground_(ground),
      bus_(std::move(connected)),
      filter_(bus_.get(), std::move(permissions)),
      outgoing_(bus_.get()) {
    sd_bus* const bus = bus_.get();
    if (int const result = sd_bus_attach_event(bus, ground.loop.get(), SD_EVENT_PRIORITY_NORMAL); result < 0) {
        throw std::system_error(-result, std::generic_category(), "the loop of the bus");
    }
    iterators_.emplace(bus, ground);
    surroundings_.emplace(Surroundings{outgoing_, ground, rootInterface(), *iterators_});
    for (ObjectInterface const* each = OBJECT_INTERFACES; each->name != nullptr; ++each) {
        slots_.push_back(registered(sd_bus_add_fallback_vtable, bus, MODEL_PATH, each->name, each->table, find, this));
    }
    slots_.push_back(registered(sd_bus_add_node_enumerator, bus, MODEL_PATH, list, this));
    slots_.push_back(registered(sd_bus_add_object_manager, bus, MODEL_PATH));
    slots_.push_back(registered(sd_bus_add_object, bus, MODEL_PATH, handleModelCall, this));
    static constexpr sd_bus_vtable MODEL_TABLE[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Settle", "", "", settle, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };
    slots_.push_back(
        registered(sd_bus_add_fallback_vtable, bus, MODEL_PATH, MODEL_INTERFACE, MODEL_TABLE, findModel, this));
    signals_.push_back(endingOn(SIGTERM));
    signals_.push_back(endingOn(SIGINT));
    television_.setObjectListener(
        [this](std::string const& key) { ground_.tasks.post([this, key] { replace(key); }); });
    for (auto const& [key, type] : television_.objects()) {
        if (auto object = ServedObject::connect(*surroundings_, key, type)) {
            place(std::move(object));
        }
    }
}

Server::~Server() {
    try {
        if (sd_bus_is_open(bus_.get()) > 0) {
            runTasks();  // The changes of before, which have not been sent yet.
        }
    } catch (...) {  // Without memory, or without a bus.
    }
    television_.setObjectListener({});
    objects_.clear();
    iterators_.reset();
    // What is left to be sent. The bus may not read it.
    auto const end = std::chrono::steady_clock::now() + LONGEST_FLUSH;
    auto const isUnsent = [this] {
        outgoing_.sendWaiting();
        return (sd_bus_get_events(bus_.get()) & POLLOUT) != 0;
    };
    while (isUnsent() && std::chrono::steady_clock::now() < end) {
        if (sd_bus_process(bus_.get(), nullptr) < 0 || sd_bus_wait(bus_.get(), 100'000) < 0) {
            return;
        }
    }
}

void Server::requestName() {
    int const result = sd_bus_request_name(bus_.get(), SERVICE, 0);
    if (result == -EEXIST) {
        throw std::runtime_error(std::string("the name ") + SERVICE + " is taken: another television is on");
    }
    if (result < 0) {
        throw std::runtime_error(std::string("the bus refuses the name ") + SERVICE + ": " +
                                 std::generic_category().message(-result));
    }
}

bool Server::turn(bool waits) {
    expectBus();  // Before, too: of a bus that is lost nothing comes.
    if (ended_) {
        return false;
    }
    if (int const result = sd_event_run(ground_.loop.get(), waits ? UINT64_MAX : 0); result < 0) {
        throw std::system_error(-result, std::generic_category(), "the loop of the bus");
    }
    outgoing_.sendWaiting();
    expectBus();
    return !ended_;
}

void Server::expectBus() const {
    if (!ended_ && sd_bus_is_open(bus_.get()) <= 0) {
        throw std::runtime_error("the bus is lost");
    }
}

void Server::waitUntilSent() {
    runTasks();
    expectBus();
    while (outgoing_.isWaiting() && turn(true)) {
    }
    sd_bus_flush(bus_.get());
}

void Server::runTasks() {
    // Twice: an object that has come is connected to by a task, and may tell its value at once.
    for (int times = 0; times < 2; ++times) {
        television_.waitUntilDelivered();
        auto const done = std::make_shared<bool>(false);
        ground_.tasks.post([done] { *done = true; });
        while (!*done) {
            expectBus();
            if (int const result = sd_event_run(ground_.loop.get(), UINT64_MAX); result < 0) {
                throw std::system_error(-result, std::generic_category(), "the loop of the bus");
            }
        }
    }
}

void Server::replace(std::string const& key) {
    auto const type = television_.type(key);
    auto added = type ? ServedObject::connect(*surroundings_, key, *type) : nullptr;
    if (auto const old = objects_.find(pathOf(key)); old != objects_.end()) {
        if (added && added->isOf(*old->second)) {
            return;  // It was told already, when an earlier change of the key was.
        }
        tell(*old->second, "InterfacesRemoved", [&removed = *old->second](sd_bus_message* message, std::size_t&) {
            return removed.appendInterfaces(message);
        });
        iterators_->drop(key);
        objects_.erase(old);
    }
    if (added) {
        tell(*added, "InterfacesAdded", [&added](sd_bus_message* message, std::size_t& room) {
            return added->appendInterfacesAndProperties(message, room);
        });
        place(std::move(added));
    }
}

void Server::place(std::unique_ptr<ServedObject> object) {
    std::string path = object->path();
    objects_.emplace(std::move(path), std::move(object));
}

template <typename Append>
void Server::tell(ServedObject const& object, char const* member, Append const& append) {
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_signal(bus_.get(), &made, MODEL_PATH, MANAGER_INTERFACE, member);
    Message signal(made);
    result = result < 0 ? result : sd_bus_message_append(made, "o", object.path().c_str());
    std::size_t room = MOST_BYTES - object.sizeWithoutValue();
    result = result < 0 ? result : append(made, room);
    result = result < 0 ? result : outgoing_.send(std::move(signal), MOST_BYTES - room);
    if (result < 0) {
        reportObject(object.key(), std::string(member) + " cannot be sent: " + reasonOf(result));
    }
}

int Server::replyWithObjects(sd_bus_message* call, sd_bus_error* error) {
    std::size_t size = 0;
    for (auto const& [path, object] : objects_) {
        size += object->sizeWithoutValue();
    }
    if (size > MOST_BYTES) {
        return refuseUnread(error, MODEL_PATH, -EMSGSIZE);
    }
    std::size_t room = MOST_BYTES - size;
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_method_return(call, &made);
    Message reply(made);
    result = result < 0 ? result : sd_bus_message_open_container(made, SD_BUS_TYPE_ARRAY, "{oa{sa{sv}}}");
    for (auto const& [path, object] : objects_) {
        result = result < 0 ? result : sd_bus_message_open_container(made, SD_BUS_TYPE_DICT_ENTRY, "oa{sa{sv}}");
        result = result < 0 ? result : sd_bus_message_append(made, "o", path.c_str());
        result = result < 0 ? result : object->appendInterfacesAndProperties(made, room);
        result = result < 0 ? result : sd_bus_message_close_container(made);
    }
    result = result < 0 ? result : sd_bus_message_close_container(made);
    result = result < 0 ? result : outgoing_.send(std::move(reply), MOST_BYTES - room);
    return result < 0 ? result : 1;
}

int Server::find(sd_bus* /*bus*/, char const* path, char const* interface, void* server, void** found,
                 sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        auto const& objects = static_cast<Server*>(server)->objects_;
        auto const place = objects.find(path);
        bool const isThere = place != objects.end() && place->second->has(interface);
        *found = isThere ? place->second.get() : nullptr;
        return isThere ? 1 : 0;
    });
}

int Server::findModel(sd_bus* /*bus*/, char const* path, char const* /*interface*/, void* server, void** found,
                      sd_bus_error* /*error*/) noexcept {
    *found = server;
    return std::string_view(path) == MODEL_PATH ? 1 : 0;  // The table is tried on every path below, too.
}

int Server::list(sd_bus* /*bus*/, char const* prefix, void* server, char*** nodes, sd_bus_error* error) noexcept {
    return guarded(error, [=] { return listPaths(static_cast<Server*>(server)->objects_, prefix, nodes); });
}

int Server::settle(sd_bus_message* call, void* server, sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        auto& self = *static_cast<Server*>(server);
        self.television_.waitUntilDelivered();  // By now the signals are tasks, and this one comes behind them.
        std::shared_ptr<sd_bus_message> const asked(sd_bus_message_ref(call), sd_bus_message_unref);
        self.ground_.tasks.post([asked, &outgoing = self.outgoing_] {
            sd_bus_message* made = nullptr;
            if (sd_bus_message_new_method_return(asked.get(), &made) >= 0) {
                outgoing.send(Message(made), 0);
            }
        });
        return 1;
    });
}

int Server::handleModelCall(sd_bus_message* call, void* server, sd_bus_error* error) noexcept {
    // The bus's own answer fails when one object cannot be read.
    bool const wantsObjects = sd_bus_message_is_method_call(call, MANAGER_INTERFACE, "GetManagedObjects") > 0;
    return wantsObjects ? guarded(error, [=] { return static_cast<Server*>(server)->replyWithObjects(call, error); })
                        : 0;
}

int Server::handleSignal(sd_event_source* /*source*/, signalfd_siginfo const* /*information*/, void* server) noexcept {
    static_cast<Server*>(server)->ended_ = true;
    return 0;
}

Source Server::endingOn(int signal) {
    sd_event_source* source = nullptr;
    if (int const result = sd_event_add_signal(ground_.loop.get(), &source, signal, handleSignal, this); result < 0) {
        throw std::system_error(-result, std::generic_category(), "the signals that end the program");
    }
    return Source(source);
}

}  // namespace bus::server
