#include "web/facade_session.h"

#include <nlohmann/json.hpp>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "television/catch_to_status.h"

namespace web {

using namespace orvane::system::support;
namespace model_keys = orvane::model_keys;

namespace {

// This file makes no lists or objects of the JSON library, only texts. The destructor of a list or an object allocates
// memory, and the process ends if memory runs out.
std::string toJson(std::string const& text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

std::string jsonOf(std::vector<std::string> const& texts) {
    std::string json = "[";
    for (std::string const& text : texts) {
        json += (json.size() > 1 ? "," : "") + toJson(text);
    }
    return json + "]";
}

void ListAccess::tryConnect() noexcept {
    int const budget = connectTimeoutMs;
    television::catchToStatus([this] { return connect(0); });
    connectTimeoutMs = budget;
}

FacadeSession::FacadeSession(orvane::NRXModelAccessClient& client)
    : lists_{std::make_shared<ListAccess>(model_keys::COMMAND), std::make_shared<ListAccess>(model_keys::EVENT)},
      propertiesForWriting_{Property(model_keys::COMMAND), Property(model_keys::EVENT)},
      softwareVersion_(std::make_shared<StringAccess>(model_keys::SOFTWARE_VERSION)),
      featureCode_(std::make_shared<StringAccess>(model_keys::FEATURE_CODE)),
      productionType_(std::make_shared<StringAccess>(model_keys::PRODUCTION_TYPE)),
      facade_(&client, lists_[0], lists_[1], softwareVersion_, featureCode_, productionType_) {
    list(ListType::COMMAND)
        .setNewValueHandler(make_value_handler(&facade_, &orvane::NRXModelAccess::onNRXCommandValueChanged));
    list(ListType::EVENT)
        .setNewValueHandler(make_value_handler(&facade_, &orvane::NRXModelAccess::onNRXEventValueChanged));
}

FacadeSession::~FacadeSession() {
    for (auto const& access : lists_) {
        television::catchToStatus([&] { return access->disconnect(); });
    }
}

void FacadeSession::setListening(ListType type, bool isOn) {
    switch (type) {
        case ListType::COMMAND:
            return isOn ? facade_.startCommandListener() : facade_.stopCommandListener();
        case ListType::EVENT:
            return isOn ? facade_.startEventListener() : facade_.stopEventListener();
    }
}

Answer FacadeSession::get(ListType type) {
    std::vector<std::string> texts;
    int const status = list(type).getValue(texts);
    return {status, status == STATUS_OK ? jsonOf(texts) : ""};
}

Answer FacadeSession::set(ListType type, std::vector<std::string> const& texts) {
    auto const result = propertiesForWriting_.at(indexOf(type)).set(texts);
    return {result ? STATUS_OK : result.error().code, ""};
}

Answer FacadeSession::readDeviceInfo() {
    auto const read = [](StringAccess& access) {
        std::string text;
        return access.getValue(text) == STATUS_OK ? toJson(text) : "null";
    };
    std::string const deviceId = facade_.getDeviceID();
    return {STATUS_OK, R"({"deviceId":)" + (deviceId.empty() ? "null" : toJson(deviceId)) +  //
                           R"(,"featureCode":)" + read(*featureCode_) +                      //
                           R"(,"modelName":)" + read(*productionType_) +                     //
                           R"(,"softwareVersion":)" + read(*softwareVersion_) + "}"};
}

Answer FacadeSession::requestStartService() {
    facade_.requestStartNRXService();
    return {};
}

}  // namespace web
