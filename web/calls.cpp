#include "web/calls.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "television/status.h"
#include "web/status.h"

namespace web {

namespace {

/// The arguments of a call. The parser passes the parts of the JSON text to this class and makes no values of the JSON
/// library, because the destructor of a list of the JSON library allocates memory, and the process ends if this
/// allocation fails.
class Arguments final : public nlohmann::json_sax<nlohmann::json> {
public:
    std::optional<std::string> name;  ///< The first argument, if the arguments are an array and the argument is a text.
    std::vector<std::string> list;    ///< The texts of the second argument.
    bool isList = false;              ///< Whether the second argument is an array of texts.

    bool null() override { return take(nullptr); }
    bool boolean(bool /*value*/) override { return take(nullptr); }
    bool number_integer(number_integer_t /*value*/) override { return take(nullptr); }
    bool number_unsigned(number_unsigned_t /*value*/) override { return take(nullptr); }
    bool number_float(number_float_t /*value*/, string_t const& /*text*/) override { return take(nullptr); }
    bool string(string_t& text) override { return take(&text); }
    bool binary(binary_t& /*value*/) override { return take(nullptr); }
    bool start_object(std::size_t /*size*/) override { return enter(false); }
    bool key(string_t& /*text*/) override { return true; }
    bool end_object() override { return leave(); }
    bool start_array(std::size_t /*size*/) override { return enter(true); }
    bool end_array() override { return leave(); }
    bool parse_error(std::size_t /*position*/, std::string const& /*token*/,
                     nlohmann::json::exception const& /*error*/) override {
        return false;
    }

private:
    bool take(std::string* text) {
        if (depth_ == 1 && isArray_ && position_ == 0 && text != nullptr) {
            name = std::move(*text);
        } else if (depth_ == 2 && position_ == 1 && text != nullptr) {
            list.push_back(std::move(*text));
        } else if (depth_ >= 2 && position_ == 1) {
            isList = false;
        }
        position_ += depth_ == 1 ? 1 : 0;
        return true;
    }
    bool enter(bool isArray) {
        isArray_ = depth_ == 0 ? isArray : isArray_;
        isList = depth_ == 1 && position_ == 1 ? isArray : isList && (depth_ < 2 || position_ != 1);
        ++depth_;
        return true;
    }
    bool leave() {
        --depth_;
        position_ += depth_ == 1 ? 1 : 0;
        return true;
    }

    int depth_ = 0;
    int position_ = 0;  ///< The position of the argument that the parser reads.
    bool isArray_ = false;
};

bool isTooLarge(std::vector<std::string> const& texts) {
    std::size_t bytes = 0;
    for (std::string const& text : texts) {
        bytes += std::max<std::size_t>(text.size(), 1);
    }
    return bytes > MAX_WRITTEN_LIST_BYTES;
}

}  // namespace

int parseCall(std::string_view name, std::string_view json, FacadeWorker::Operation& operation) {
    if (name == "device") {
        operation = &FacadeSession::readDeviceInfo;
        return television::STATUS_OK;
    }
    if (name == "requestStartService") {
        operation = &FacadeSession::requestStartService;
        return television::STATUS_OK;
    }
    Arguments arguments;
    // The parser refuses the escape of a single surrogate, which UTF-8 cannot encode.
    if (!nlohmann::json::sax_parse(json, &arguments) || !arguments.name) {
        return television::STATUS_NOT_CARRIED;
    }
    std::optional<ListType> const type = listTypeOf(*arguments.name);
    if (type && name == "get") {
        operation = [type = *type](FacadeSession& session) { return session.get(type); };
    } else if (type && name == "set") {
        if (!arguments.isList) {
            return television::STATUS_NOT_CARRIED;
        }
        if (isTooLarge(arguments.list)) {
            return STATUS_TOO_LARGE;
        }
        // Keeps the JSON text, because the call may wait long and many short strings take more memory than the text.
        operation = [type = *type, json = std::string(json)](FacadeSession& session) {
            Arguments again;
            nlohmann::json::sax_parse(json, &again);
            return session.set(type, again.list);
        };
    } else {
        return television::STATUS_NOT_SUPPORTED;
    }
    return television::STATUS_OK;
}

}  // namespace web
