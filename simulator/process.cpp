#include "frame/process.h"

#include <boost/make_shared.hpp>

#include "simulator/model.h"
#include "television/root_interface_base.h"
#include "television/root_reference.h"

namespace frame {

namespace {

/// Exists as long as the process, because a client may keep the pointer while no television is on.
class Root final : public television::RootInterfaceBase {
public:
    int disconnectObject(std::string const& key, objbus::Observer* observer, objbus::Object* object) override {
        auto const model = simulator::Model::currentOrNull();
        return model ? model->disconnect(key, observer, object) : simulator::STATUS_NO_TELEVISION;
    }

private:
    int connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object) override {
        auto const model = simulator::Model::currentOrNull();
        return model ? model->connect(key, observer, object) : simulator::STATUS_NO_TELEVISION;
    }
};

Root root;

/// Counts a lookup of the root interface and returns its result.
simulator::RootLookup lookUpRoot(simulator::Model& model) {
    television::MutexLock const lock(model.mutex);
    ++model.lookups;
    return model.rootLookupResult;
}

}  // namespace

boost::shared_ptr<Interface> makeRootReference() { return boost::make_shared<television::RootReference>(&root); }

int Process::getInterfaceReference(boost::shared_ptr<Interface>& reference, std::string const& name) {
    auto const model = simulator::Model::currentOrNull();
    if (!model) {
        return simulator::STATUS_NO_TELEVISION;
    }
    if (name != television::ROOT_INTERFACE_NAME) {
        return simulator::STATUS_UNKNOWN_INTERFACE;
    }
    switch (lookUpRoot(*model)) {
        case simulator::RootLookup::refused:
            return simulator::STATUS_LOOKUP_REFUSED;
        case simulator::RootLookup::emptyReference:
            reference.reset();
            break;
        case simulator::RootLookup::nullObject:
            reference = boost::make_shared<television::RootReference>(nullptr);
            break;
        case simulator::RootLookup::published:
            reference = model->rootReference;
            break;
    }
    return simulator::STATUS_OK;
}

}  // namespace frame
