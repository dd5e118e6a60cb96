// The out-of-line members of the platform's classes. If a class has a virtual destructor that is defined here, the
// compiler emits the virtual table of the class here and in no other file.

#include "frame/process.h"
#include "objbus/object.h"
#include "objbus/observer.h"
#include "objbus/root_interface.h"

namespace frame {

Interface::~Interface() = default;

Process::Process() = default;

Process::~Process() = default;

Process Process::getInstance() { return {}; }

}  // namespace frame

namespace objbus {

RootInterface::~RootInterface() = default;
Object::~Object() = default;
Observer::~Observer() = default;
ObserverNumericInteger::~ObserverNumericInteger() = default;
ObserverNumericInt64::~ObserverNumericInt64() = default;
ObserverString::~ObserverString() = default;
ObserverVectorNumericInteger::~ObserverVectorNumericInteger() = default;
ObserverVectorString::~ObserverVectorString() = default;
ObserverAction::~ObserverAction() = default;
ObserverTable::~ObserverTable() = default;
ObserverTableIterator::~ObserverTableIterator() = default;

}  // namespace objbus
