#include <glib.h>

#include <boost/signals2/signal.hpp>
#include <nlohmann/json.hpp>

#include "limit_relay.h"
#include "measure.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"

namespace bench {

namespace {

// Each class below makes a value from a list, relays the value, and calls the client with the list in the value.

/// The facade as an embedding process uses it.
class Relay {
public:
    Relay() {
        command_->setNewValueHandler(make_value_handler(&facade_, &orvane::NRXModelAccess::onNRXCommandValueChanged));
        facade_.startCommandListener();
    }
    void operator()(Strings const& list) { command_->notifyStringVector(list); }

private:
    using StringListAccess = orvane::NRXModelAccess::StringListAccess;
    std::shared_ptr<StringListAccess> command_{new StringListAccess("command")};
    orvane::NRXModelAccess facade_{&relayClient(), command_, nullptr, nullptr, nullptr, nullptr};
};

struct LimitTwoCopies {
    void operator()(Strings const& list) const {
        Strings const value = list;  // NOLINT(performance-unnecessary-copy-initialization): the measured copy.
        keepObservable(value.data());
        Strings const received = value;  // NOLINT(performance-unnecessary-copy-initialization): as above.
        relayClient().onNRXCommandReceived(received);
    }
};

class PeerJsonSignal {
public:
    PeerJsonSignal() {
        changed_.connect([](nlohmann::json const& value) {
            auto const received = value.get<Strings>();
            relayClient().onNRXCommandReceived(received);
        });
    }
    void operator()(Strings const& list) { changed_(nlohmann::json(list)); }

private:
    boost::signals2::signal<void(nlohmann::json const&)> changed_;
};

struct PeerGVariant {
    void operator()(Strings const& list) const {
        std::vector<char const*> texts;
        texts.reserve(list.size());
        for (std::string const& text : list) {
            texts.push_back(text.c_str());
        }
        GVariant* const value = g_variant_ref_sink(g_variant_new_strv(texts.data(), std::ssize(texts)));

        std::size_t count = 0;
        char const** const stored = g_variant_get_strv(value, &count);
        Strings const received(stored, stored + count);
        relayClient().onNRXCommandReceived(received);
        g_free(stored);
        g_variant_unref(value);
    }
};

template <typename Way>
void addWay(std::string const& name, int count, int length) {
    addCallBenchmark(name + "/" + std::to_string(count) + "/" + std::to_string(length), [count, length] {
        return [way = std::make_shared<Way>(), list = makeStrings(count, length)] { (*way)(list); };
    });
}

}  // namespace

void addListRelayBenchmarks() {
    for (int const length : {8, 48}) {
        for (int const count : {1, 3, 100, 10000}) {
            addWay<Relay>("Relay", count, length);
            addWay<LimitRelay>("LimitRelay", count, length);
            addWay<LimitTwoCopies>("LimitTwoCopies", count, length);
            addWay<PeerJsonSignal>("PeerJsonSignal", count, length);
            addWay<PeerGVariant>("PeerGVariant", count, length);
        }
    }
}

}  // namespace bench
