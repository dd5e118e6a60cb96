#include "frame/process.h"

#include <boost/make_shared.hpp>

#include "bus/model.h"
#include "bus/root.h"
#include "television/root_reference.h"

namespace {

class Root final : public objbus::RootInterface {
public:
    int platformReserved1() override { return television::STATUS_NOT_SUPPORTED; }
    int platformReserved2() override { return television::STATUS_NOT_SUPPORTED; }
    int platformReserved3() override { return television::STATUS_NOT_SUPPORTED; }

    int connectObject(std::string const& key, objbus::Observer* observer, objbus::Object*& object) override {
        return bus::safely([&] { return bus::Model::get().connect(key, observer, object); });
    }

    int disconnectObject(std::string const& key, objbus::Observer* observer, objbus::Object* object) override {
        return bus::safely([&] { return bus::Model::get().disconnect(key, observer, object); });
    }
};

}  // namespace

boost::shared_ptr<frame::Interface> bus::makeRoot() {
    static Root* const root = new Root;  // Clients may disconnect while the process's own objects are destroyed.
    return boost::make_shared<television::RootReference>(root);
}

int frame::Process::getInterfaceReference(boost::shared_ptr<Interface>& reference, std::string const& name) {
    if (name != television::ROOT_INTERFACE_NAME) {
        return television::STATUS_UNKNOWN_INTERFACE;
    }
    return bus::safely([&] {
        bus::Model& model = bus::Model::get();
        if (!model.link.reached(bus::CONNECT_PATIENCE)) {
            return static_cast<int>(television::STATUS_NO_BUS);
        }
        reference = model.root;
        return static_cast<int>(television::STATUS_OK);
    });
}
