#pragma once

#include <memory>

#include "measure.h"

namespace bench {

/// Passes one list from the model to the client with the least work: one copy into the fields of a value, one copy into
/// the client's list, the calls that ask the platform whether to write each trace and log line, and the virtual calls.
class LimitRelay {
public:
    LimitRelay();
    void operator()(Strings const& list);

private:
    struct FakeAccessObject;
    std::shared_ptr<FakeAccessObject> fakeAccessObject_;
};

}  // namespace bench
