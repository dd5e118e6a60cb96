#include <boost/make_shared.hpp>
#include <chrono>
#include <thread>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "simulator/model.h"
#include "television/root_reference.h"

// A faulty platform library. Lookups and connects are slow. A connect to the action `SOURCE_SWITCH` succeeds without an
// object. The first ten connects to `FEATURE_CODE` fail. A disconnect does not remove the observer. The simulator
// implements all other operations of the platform.

namespace {

constexpr std::chrono::milliseconds DELAY{110};

class FaultyRoot final : public objbus::RootInterface {
public:
    int platformReserved1() override { return 0; }
    int platformReserved2() override { return 0; }
    int platformReserved3() override { return 0; }

    int connectObject(std::string const& key, objbus::Observer* observer, objbus::Object*& object) override {
        std::this_thread::sleep_for(DELAY);
        if (key == orvane::model_keys::SOURCE_SWITCH) {
            return 0;
        }
        if (key == orvane::model_keys::FEATURE_CODE && ++attempts_ <= 10) {
            return 42;
        }
        return simulator::Model::currentOrNull()->connect(key, observer, object);
    }

    int disconnectObject(std::string const& /*key*/, objbus::Observer* /*observer*/,
                         objbus::Object* /*object*/) override {
        return 0;
    }

private:
    int attempts_ = 0;
};

}  // namespace

int frame::Process::getInterfaceReference(boost::shared_ptr<Interface>& reference, std::string const& /*name*/) {
    static FaultyRoot root;
    std::this_thread::sleep_for(DELAY);
    reference = boost::make_shared<television::RootReference>(&root);
    return 0;
}
