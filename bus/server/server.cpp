#include "bus/server/server.h"

#include <poll.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include "bus/server/bus_slots.h"
#include "bus/server/catch_to_error.h"
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

Bus connectToBus(std::string const& address) {
    Bus bus;
    auto const connect = [&] {
        char const* name = nullptr;
        NRX_TRY(startBusConnection(bus, address.empty() ? findBusAddressInEnvironment() : address));
        return sd_bus_get_unique_name(bus.get(), &name);  // Waits until the bus answers.
    };
    if (int const result = connect(); result < 0) {
        throw std::runtime_error("the bus " + (address.empty() ? "" : address + ' ') +
                                 "cannot be reached: " + std::generic_category().message(-result));
    }
    return bus;
}

Server::Server(simulator::Television& television, ServerLoop& loop, Bus connected, Permissions permissions)
    : television_(television),
      loop_(loop),
      bus_(std::move(connected)),
      callFilter_(bus_.get(), std::move(permissions)),
      sendQueue_(bus_.get()) {
    sd_bus* const bus = bus_.get();
    addBusSocketSource();
    iterators_.emplace(bus, loop);
    context_.emplace(ObjectContext{sendQueue_, loop, rootInterface(), *iterators_});
    auto const addVtable = [&](char const* interface, sd_bus_vtable const* vtable, sd_bus_object_find_t find) {
        slots_.push_back(makeSlot(sd_bus_add_fallback_vtable, bus, MODEL_PATH, interface, vtable, find, this));
    };
    addVtable(OBJECT_INTERFACE, OBJECT_VTABLE, findObject);
    for (TypeDescriptor const& descriptor : typesWithOwnInterface()) {
        addVtable(descriptor.interface, descriptor.vtable, findObject);
    }
    static constexpr sd_bus_vtable MODEL_VTABLE[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD(SYNC_METHOD, "", "", memberHandler<&Server::handleSync>, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };
    addVtable(MODEL_INTERFACE, MODEL_VTABLE, findModelInterface);
    slots_.push_back(makeSlot(sd_bus_add_node_enumerator, bus, MODEL_PATH, enumerateNodes, this));
    slots_.push_back(makeSlot(sd_bus_add_object_manager, bus, MODEL_PATH));
    slots_.push_back(
        makeSlot(sd_bus_add_object, bus, MODEL_PATH, memberHandler<&Server::handleGetManagedObjects>, this));
    terminationSources_.push_back(addTerminationSource(SIGTERM));
    terminationSources_.push_back(addTerminationSource(SIGINT));
    television_.setObjectListener([this](std::string const& key) {
        replaceOrRetryLater(
            [&] { loop_.tasks.post([this, key] { replaceOrRetryLater([&] { replaceServedObject(key); }); }); });
    });
    for (auto const& [key, type] : television_.objects()) {
        if (auto object = ServedObject::connect(*context_, key, type)) {
            insertIntoObjects(std::move(object));
        }
    }
}

Server::~Server() {
    try {
        if (sd_bus_is_open(bus_.get()) > 0) {
            waitUntilSignalsQueued();  // Sends or queues the signals of the changes so far.
        }
    } catch (...) {  // `waitUntilSignalsQueued` throws, for example, if memory runs out or the bus is lost.
    }
    television_.setObjectListener({});
    objects_.clear();
    iterators_.reset();
    // Sends the remaining messages, but stops at `end`, because the bus may have stopped reading.
    auto const end = std::chrono::steady_clock::now() + LONGEST_FLUSH;
    auto const isUnsent = [this] {
        sendQueue_.sendWaiting();
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

template <typename Replacement>
void Server::replaceOrRetryLater(Replacement const& replacement) noexcept {
    try {
        replacement();
    } catch (...) {  // Memory ran out.
        isReplacementFailed_ = true;
        loop_.tasks.wake();
    }
}

void Server::retryFailedReplacement() {
    if (isReplacementFailed_.exchange(false)) {
        replaceOrRetryLater([this] { replaceAllServedObjects(); });
    }
}

void Server::replaceAllServedObjects() {
    auto objects = television_.objects();
    for (auto const& [path, object] : objects_) {
        objects.emplace(object->key(), object->type());
    }
    for (auto const& [key, type] : objects) {
        replaceServedObject(key);
    }
}

void Server::replaceServedObject(std::string const& key) {
    auto const type = television_.type(key);
    auto added = type ? ServedObject::connect(*context_, key, *type) : nullptr;
    if (auto const old = objects_.find(pathOf(key)); old != objects_.end()) {
        if (added && added->servesSameModelObject(*old->second)) {
            return;  // An earlier replacement of the key has announced this object.
        }
        emitManagerSignal(*old->second, "InterfacesRemoved",
                          [&removed = *old->second](sd_bus_message* message, std::size_t&) {
                              return removed.appendInterfaces(message);
                          });
        iterators_->eraseTable(key);
        objects_.erase(old);
    }
    if (added) {
        emitManagerSignal(*added, "InterfacesAdded", [&added](sd_bus_message* message, std::size_t& remainingBytes) {
            return added->appendInterfacesAndProperties(message, remainingBytes);
        });
        insertIntoObjects(std::move(added));
    }
}

void Server::insertIntoObjects(std::unique_ptr<ServedObject> object) {
    std::string path = object->path();
    objects_.emplace(std::move(path), std::move(object));
}

template <typename AppendContents>
void Server::emitManagerSignal(ServedObject const& object, char const* member, AppendContents const& appendContents) {
    auto const makeAndSend = [&] {
        Message signal;
        NRX_TRY(assignFromOutParameter(signal, [&](auto made) {
            return sd_bus_message_new_signal(bus_.get(), made, MODEL_PATH, OBJECT_MANAGER_INTERFACE, member);
        }));
        NRX_TRY(sd_bus_message_append(signal.get(), "o", object.path().c_str()));
        std::size_t remainingBytes = MAX_MESSAGE_BYTES - object.managedObjectsEntryBytesWithoutValue();
        NRX_TRY(appendContents(signal.get(), remainingBytes));
        return sendQueue_.send(std::move(signal), MAX_MESSAGE_BYTES - remainingBytes);
    };
    if (int const result = makeAndSend(); result < 0) {
        printObjectError(object.key(), std::string(member) + " cannot be sent: " + reasonOf(result));
    }
}

int Server::handleGetManagedObjects(sd_bus_message* call, sd_bus_error* error) {
    // This handler replies to `GetManagedObjects`, because sd-bus's own reply fails if one object cannot be read.
    // sd-bus handles all other calls.
    if (sd_bus_message_is_method_call(call, OBJECT_MANAGER_INTERFACE, "GetManagedObjects") <= 0) {
        return 0;
    }
    std::size_t size = 0;
    for (auto const& [path, object] : objects_) {
        size += object->managedObjectsEntryBytesWithoutValue();
    }
    if (size > MAX_MESSAGE_BYTES) {
        return setErrorIfTooLarge(error, MODEL_PATH, -EMSGSIZE);
    }
    std::size_t remainingBytes = MAX_MESSAGE_BYTES - size;
    Message reply;
    NRX_TRY(assignFromOutParameter(reply, [call](auto made) { return sd_bus_message_new_method_return(call, made); }));
    NRX_TRY(appendContainer(reply.get(), SD_BUS_TYPE_ARRAY, "{oa{sa{sv}}}", [&] {
        for (auto const& entry : objects_) {
            NRX_TRY(appendContainer(reply.get(), SD_BUS_TYPE_DICT_ENTRY, "oa{sa{sv}}", [&] {
                NRX_TRY(sd_bus_message_append(reply.get(), "o", entry.first.c_str()));
                return entry.second->appendInterfacesAndProperties(reply.get(), remainingBytes);
            }));
        }
        return 0;
    }));
    NRX_TRY(sendQueue_.send(std::move(reply), MAX_MESSAGE_BYTES - remainingBytes));
    return 1;
}

int Server::findObject(sd_bus* /*bus*/, char const* path, char const* interface, void* server, void** found,
                       sd_bus_error* error) noexcept {
    return catchToError(error, [=] {
        auto const& objects = static_cast<Server*>(server)->objects_;
        auto const position = objects.find(path);
        bool const isFound = position != objects.end() && position->second->hasInterface(interface);
        *found = isFound ? position->second.get() : nullptr;
        return isFound ? 1 : 0;
    });
}

int Server::findModelInterface(sd_bus* /*bus*/, char const* path, char const* /*interface*/, void* server, void** found,
                               sd_bus_error* /*error*/) noexcept {
    *found = server;
    return std::string_view(path) == MODEL_PATH ? 1 : 0;  // sd-bus also asks for paths below `MODEL_PATH`.
}

int Server::enumerateNodes(sd_bus* /*bus*/, char const* prefix, void* server, char*** nodes,
                           sd_bus_error* error) noexcept {
    return catchToError(error, [=] { return makeNodeList(static_cast<Server*>(server)->objects_, prefix, nodes); });
}

int Server::handleSync(sd_bus_message* call, sd_bus_error* /*error*/) {
    // After this wait, the notifications of all earlier changes have posted their tasks. The task that is
    // posted here runs after these tasks and sends the reply.
    television_.waitUntilDelivered();
    std::shared_ptr<sd_bus_message> const pending(sd_bus_message_ref(call), sd_bus_message_unref);
    loop_.tasks.post([this, pending] {
        sd_bus_error error{};
        int const result = catchToError(&error, [&] {
            Message reply;
            NRX_TRY(assignFromOutParameter(
                reply, [&](auto made) { return sd_bus_message_new_method_return(pending.get(), made); }));
            return sendQueue_.send(std::move(reply), 0);
        });
        if (result < 0) {
            sd_bus_reply_method_errno(pending.get(), result, &error);
        }
        sd_bus_error_free(&error);
    });
    return 1;
}

}  // namespace bus::server
