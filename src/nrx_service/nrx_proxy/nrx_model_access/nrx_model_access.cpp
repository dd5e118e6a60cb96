#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <utility>

#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"

// The body of both relay operations. The body is a macro, so that each log line names its operation. The call of the
// client is last, because the client may destroy the facade.
#define RELAY_LIST(value, listenerStarted, receive)                                \
    if ((value).type() != VALUE_VECTOR) {                                          \
        DEBUG_LOG(LOG_ERROR, "Not array type.");                                   \
    } else if (!(listenerStarted)) {                                               \
        DEBUG_LOG(LOG_INFO, "Listener Not started, ignore.");                      \
    } else {                                                                       \
        std::vector<std::string> const list = value;                               \
        for (int index = 0; std::string const& parameter : list) {                 \
            DEBUG_LOG(LOG_DEBUG, "parameter %d:   %s ", index, parameter.c_str()); \
            ++index;                                                               \
        }                                                                          \
        if (NRXModelAccessClient* const receiver = client) {                       \
            receiver->receive(list);                                               \
        }                                                                          \
    }

namespace orvane {

using namespace system::support;

namespace {

constexpr int LIST_CONNECT_BUDGET_MS = 1000;
constexpr int ACTION_CONNECT_BUDGET_MS = 100;

constexpr char DEVICE_ID_PATH[] = "/APPS/deviceserial/deviceId";
constexpr char DEFAULT_DEVICE_ID_PATH[] = "/var/local/applications/UI/deviceId";
constexpr std::size_t DEVICE_ID_BUFFER_SIZE = 1024;

constexpr unsigned int NO_ACTION_ID = 0xFFFFFFFF;
constexpr char SOURCE_SWITCH_TARGET[] = "12";
constexpr char SERVICE_DESCRIPTION[] =
    R"({"id":"nrxservice","name":"nrxservice","pid": "","appType": "bgAppType","url": "","type": "bgAppType"})";

/// Numbers the start requests of the process.
std::atomic<int> serviceRequestCounter = 0;

/// Locked while a facade creates and connects its action. All facades of the process share the mutex.
constinit std::mutex sourceSwitchMutex;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Creates an access object for the list named `key`. The operation `relay` of `facade` receives the list's values.
std::shared_ptr<NRXModelAccess::StringListAccess> relayedList(char const* key, NRXModelAccess* facade,
                                                              void (NRXModelAccess::*relay)(IValueObject const&)) {
    return std::shared_ptr<NRXModelAccess::StringListAccess>(
        new NRXModelAccess::StringListAccess(key, make_value_handler(facade, relay)));
}

template <typename Access>
std::shared_ptr<Access> orFresh(std::shared_ptr<Access> access, char const* key) {
    return access ? std::move(access) : std::shared_ptr<Access>(new Access(key));
}

/// Returns the list named `key`, or null.
NRXModelAccess::StringListAccess* listByKey(std::string const& key, NRXModelAccess::StringListAccess& command,
                                            NRXModelAccess::StringListAccess& event) {
    if (key == model_keys::COMMAND) {
        return &command;
    }
    return key == model_keys::EVENT ? &event : nullptr;
}

/// Returns the three arguments of a start request: the identifier of the request, the target of the source switch, and
/// the service to start.
std::vector<objbus::Argument> startArguments() {
    std::array<char, 64> identifier{};
    int const number = ++serviceRequestCounter;
    std::snprintf(identifier.data(), identifier.size(), "nrx_access_%ld_%d", syscall(SYS_gettid), number);
    std::array<char const*, 3> const texts{identifier.data(), SOURCE_SWITCH_TARGET, SERVICE_DESCRIPTION};
    std::vector<objbus::Argument> arguments(texts.size());
    for (std::size_t index = 0; index < texts.size(); ++index) {
        arguments[index].index = static_cast<std::int8_t>(index);
        arguments[index].value = texts[index];
    }
    return arguments;
}

}  // namespace

INrxModelAccess::~INrxModelAccess() = default;

// Braces guarantee that the objects are created in the order of the arguments.
NRXModelAccess::NRXModelAccess()
    : NRXModelAccess{nullptr,
                     relayedList(model_keys::COMMAND, this, &NRXModelAccess::onNRXCommandValueChanged),
                     relayedList(model_keys::EVENT, this, &NRXModelAccess::onNRXEventValueChanged),
                     nullptr,
                     nullptr,
                     nullptr} {}

NRXModelAccess::NRXModelAccess(NRXModelAccessClient* newClient) : NRXModelAccess() {
    client = newClient;
    DEBUG_TRACE();
}

NRXModelAccess::NRXModelAccess(NRXModelAccessClient* newClient, std::shared_ptr<StringListAccess> command,
                               std::shared_ptr<StringListAccess> event, std::shared_ptr<StringAccess> softwareVersion,
                               std::shared_ptr<StringAccess> featureCode, std::shared_ptr<StringAccess> productionType)
    : client(newClient),
      commandValue(orFresh(std::move(command), model_keys::COMMAND)),
      eventValue(orFresh(std::move(event), model_keys::EVENT)),
      softwareVersionValue(orFresh(std::move(softwareVersion), model_keys::SOFTWARE_VERSION)),
      featureCodeValue(orFresh(std::move(featureCode), model_keys::FEATURE_CODE)),
      productionTypeValue(orFresh(std::move(productionType), model_keys::PRODUCTION_TYPE)) {}

NRXModelAccess::~NRXModelAccess() {
    // Stops the listeners first. The client may own the facade and be in its own destructor, so no list may reach the
    // client.
    commandListenerStarted = false;
    eventListenerStarted = false;
    DEBUG_TRACE();
    if (sourceSwitchAction != nullptr) {
        disconnectForDestruction(*sourceSwitchAction);
        delete sourceSwitchAction;
        sourceSwitchAction = nullptr;
    }
}

void NRXModelAccess::setClient(NRXModelAccessClient* newClient) { client = newClient; }

void NRXModelAccess::start() {
    DEBUG_TRACE();
    if (int const status = commandValue->connect(LIST_CONNECT_BUDGET_MS); status != STATUS_OK) {
        DEBUG_LOG(LOG_ERROR, "Fail to connect command Value, status: %d", status);
    } else {
        DEBUG_LOG(LOG_INFO, " connect command Value, status: %d", status);
    }
    if (int const status = eventValue->connect(LIST_CONNECT_BUDGET_MS); status != STATUS_OK) {
        DEBUG_LOG(LOG_ERROR, "Fail to connect event Value, status: %d", status);
    } else {
        DEBUG_LOG(LOG_INFO, " connect event  Value, status: %d", status);
    }
}

std::string NRXModelAccess::getSoftwareVersion() {
    std::string version;
    softwareVersionValue->getValue(version);
    DEBUG_LOG(LOG_INFO, "Software Version : %s.", version.c_str());
    return version;
}

std::string NRXModelAccess::getModelname() {
    std::string productionType;
    productionTypeValue->getValue(productionType);
    DEBUG_LOG(LOG_INFO, "Firmware Version : %s.", productionType.c_str());
    return productionType;
}

std::string NRXModelAccess::getFeatureCode() {
    std::string featureCode;
    featureCodeValue->getValue(featureCode);
    DEBUG_LOG(LOG_INFO, "Feature code : %s.", featureCode.c_str());
    return featureCode;
}

std::string NRXModelAccess::getDeviceID() {
    char const* path = DEVICE_ID_PATH;
    File file(std::fopen(path, "rb"));
    if (!file) {
        DEBUG_LOG(LOG_ERROR, "Error opening %s, try default location", path);
        path = DEFAULT_DEVICE_ID_PATH;
        file.reset(std::fopen(path, "rb"));
    }
    if (!file) {
        DEBUG_LOG(LOG_ERROR, "Error opening %s", path);
        return {};
    }
    std::array<char, DEVICE_ID_BUFFER_SIZE> buffer{};  // Its last byte stays 0 and ends the text.
    if (std::fread(buffer.data(), 1, buffer.size() - 1, file.get()) == 0) {
        DEBUG_LOG(LOG_ERROR, "Error reading %s", path);
        return {};
    }
    return buffer.data();
}

void NRXModelAccess::startCommandListener() { commandListenerStarted = true; }

void NRXModelAccess::stopCommandListener() { commandListenerStarted = false; }

void NRXModelAccess::startEventListener() { eventListenerStarted = true; }

void NRXModelAccess::stopEventListener() { eventListenerStarted = false; }

void NRXModelAccess::requestStartNRXService() {
    DEBUG_TRACE();
    ActionAccess* action = nullptr;
    {
        std::lock_guard<std::mutex> const lock(sourceSwitchMutex);
        if (sourceSwitchAction == nullptr) {
            auto newAction = std::make_unique<ActionAccess>(model_keys::SOURCE_SWITCH);
            if (int const status = newAction->connect(ACTION_CONNECT_BUDGET_MS); status != STATUS_OK) {
                DEBUG_LOG(LOG_ERROR, "Error connect SL2_TVAPI_ACTION_SOURCE_SWITCH,  status: %d", status);
                return;
            }
            sourceSwitchAction = newAction.release();
        }
        action = sourceSwitchAction;
    }
    unsigned int actionId = NO_ACTION_ID;
    auto const args = startArguments();
    int const status = action->invoke(actionId, args);
    DEBUG_LOG(LOG_INFO, "actionid: %d", static_cast<int>(actionId));
    if (status != STATUS_OK) {
        DEBUG_LOG(LOG_ERROR, "error: %d", status);
    }
}

void NRXModelAccess::onNRXCommandValueChanged(IValueObject const& value) {
    RELAY_LIST(value, commandListenerStarted, onNRXCommandReceived)
}

void NRXModelAccess::onNRXEventValueChanged(IValueObject const& value) {
    RELAY_LIST(value, eventListenerStarted, onNRXEventReceived)
}

void NRXModelAccess::getAccessValue(std::string name, std::vector<std::string>& values) {
    DEBUG_LOG(LOG_DEBUG, "name:%s", name.c_str());
    auto* const list = listByKey(name, *commandValue, *eventValue);
    int const status = list != nullptr ? list->getValue(values) : STATUS_ERR_UNKNOWN_KEY;
    if (status != STATUS_OK) {
        DEBUG_LOG(LOG_ERROR, "Error get String value: %d", status);
    }
}

void NRXModelAccess::setAccessValue(std::string name, std::vector<std::string> values) {
    DEBUG_TRACE();
    auto* const list = listByKey(name, *commandValue, *eventValue);
    int const status = list != nullptr ? list->setValue(values) : STATUS_ERR_UNKNOWN_KEY;
    if (status != STATUS_OK) {
        DEBUG_LOG(LOG_ERROR, "Error set value :%d, %s", status, name.c_str());
    }
}

}  // namespace orvane
