#include "frame/process.h"

#include <boost/make_shared.hpp>

#include "bus/client/remote_model.h"
#include "television/root_interface_base.h"
#include "television/root_reference.h"

namespace {

class Root final : public television::RootInterfaceBase {
public:
    int disconnectObject(std::string const& key, objbus::Observer* observer, objbus::Object* object) override {
        return bus::catchToStatus([&] { return bus::RemoteModel::get().disconnect(key, observer, object); });
    }

private:
    int connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object) override {
        return bus::catchToStatus([&] { return bus::RemoteModel::get().connect(key, observer, object); });
    }
};

}  // namespace

int frame::Process::getInterfaceReference(boost::shared_ptr<Interface>& reference, std::string const& name) {
    if (name != television::ROOT_INTERFACE_NAME) {
        return television::STATUS_UNKNOWN_INTERFACE;
    }
    return bus::catchToStatus([&reference] {
        // The root interface exists even without a bus and a television. The root interface is never destroyed, because
        // clients may disconnect while the process destroys its static objects.
        static auto& root = *new Root;
        static auto const& rootReference =
            *new boost::shared_ptr<Interface>(boost::make_shared<television::RootReference>(&root));
        reference = rootReference;
        return television::STATUS_OK;
    });
}
