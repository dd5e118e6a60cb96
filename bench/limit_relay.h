#pragma once

#include <memory>

#include "measure.h"

namespace bench {

/// The least work that passes one list from the model to the client: a copy into the fields of a value, a copy into the
/// client's list, the calls of the platform for the trace and log lines, and the virtual calls.
class LimitRelay {
public:
    LimitRelay();
    void operator()(Strings const& list);

private:
    struct Observer;
    std::shared_ptr<Observer> observer_;
};

}  // namespace bench
