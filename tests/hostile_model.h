#pragma once

#include <map>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "objbus/root_interface.h"

namespace test {

/// A data model that does what no television should. Its objects are of the type that it is told to claim.
class HostileModel : public objbus::RootInterface {
public:
    /// Where a failure is thrown.
    enum class Failing { nowhere, type, disconnect, invoke, create };

    int platformReserved1() override { return 0; }
    int platformReserved2() override { return 0; }
    int platformReserved3() override { return 0; }
    int connectObject(std::string const& /*key*/, objbus::Observer* observer, objbus::Object*& object) override {
        registered.insert(observer);
        object = type == objbus::OBJECT_TYPE_ACTION ? static_cast<objbus::Object*>(&action_) : &table_;
        return 0;
    }
    int disconnectObject(std::string const& /*key*/, objbus::Observer* observer, objbus::Object* /*object*/) override {
        fail(Failing::disconnect);
        registered.erase(observer);
        return 0;
    }

    objbus::ObjectTypeSpec type = objbus::OBJECT_TYPE_TABLE;
    Failing failing = Failing::nowhere;
    std::set<objbus::Observer*> registered;

private:
    void fail(Failing here) const {
        if (failing == here) {
            throw std::bad_alloc();
        }
    }
    int tell(objbus::ObjectTypeSpec& answer) const {
        fail(Failing::type);
        answer = type;
        return 0;
    }

    struct Action final : objbus::ObjectAction {
        explicit Action(HostileModel const& owner) : model(owner) {}
        int getType(objbus::ObjectTypeSpec& answer) override { return model.tell(answer); }
        int platformReserved1() override { return 0; }
        int platformReserved2() override { return 0; }
        int invoke(unsigned int& /*actionId*/, std::vector<objbus::Argument> const& /*arguments*/) override {
            model.fail(Failing::invoke);
            return 0;
        }

        HostileModel const& model;
    };

    struct Table final : objbus::ObjectTable {
        explicit Table(HostileModel const& owner) : model(owner) {}
        int getType(objbus::ObjectTypeSpec& answer) override { return model.tell(answer); }
        objbus::TableIterator* createIterator(objbus::IteratorType const& /*type*/,
                                              objbus::ObserverTableIterator* /*observer*/,
                                              std::vector<objbus::TableSelection> const& /*selections*/,
                                              std::vector<int> const& /*columns*/,
                                              std::vector<objbus::TableOrder> const& /*orders*/) override {
            model.fail(Failing::create);
            return nullptr;
        }
        int destroyIterator(objbus::TableIterator* /*iterator*/) override { return 0; }

        HostileModel const& model;
    };

    Action action_{*this};
    Table table_{*this};
};

}  // namespace test
