#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

namespace frame {

/// A reference to a published interface. The object behind it lives on after the reference is released.
class __attribute__((visibility("default"))) Interface {
public:
    Interface() = default;
    Interface(Interface const&) = delete;
    Interface& operator=(Interface const&) = delete;
    virtual ~Interface();
    /// The published object, which the platform owns; its type is known from the name it was looked up by. May be null.
    virtual void* getObject() = 0;
};

/// A handle on the inter-process framework, held for the length of a lookup by the thread that asks.
class __attribute__((visibility("default"))) Process {
public:
    /// A handle of the caller's own.
    static Process getInstance();
    Process(Process const&) = delete;
    Process& operator=(Process const&) = delete;
    ~Process();

    /// Looks up a published interface. 0: found, `reference` is set and not empty. Any other status: not published
    /// (yet), or refused to this process.
    int getInterfaceReference(boost::shared_ptr<Interface>& reference, std::string const& name);

private:
    Process();

    void* platformReserved_[4];  ///< Room for the television's own state: handles are made in the caller's frame.
};

static_assert(sizeof(Interface) == sizeof(void*));  // The virtual table only.

}  // namespace frame
