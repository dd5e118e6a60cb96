#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

namespace frame {

/// A reference to a published interface. The published object remains valid after the reference is released.
class __attribute__((visibility("default"))) Interface {
public:
    Interface() = default;
    Interface(Interface const&) = delete;
    Interface& operator=(Interface const&) = delete;
    virtual ~Interface();
    /// Returns the published object, owned by the platform, or null. The looked-up name determines the object's type.
    virtual void* getObject() = 0;
};

/// Gives a process access to the inter-process framework. The caller destroys the `Process` after a lookup.
class __attribute__((visibility("default"))) Process {
public:
    /// Returns a new object.
    static Process getInstance();
    Process(Process const&) = delete;
    Process& operator=(Process const&) = delete;
    ~Process();

    /// Looks up a published interface. Returns 0 and sets `reference`, or returns another status: the interface is not
    /// published (yet), or the framework refuses this process.
    int getInterfaceReference(boost::shared_ptr<Interface>& reference, std::string const& name);

private:
    Process();

    void* platformReserved_[4];  ///< Space for the television's state. The caller's program reserves this space.
};

static_assert(sizeof(Interface) == sizeof(void*));  // The virtual table only.

}  // namespace frame
