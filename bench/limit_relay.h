#pragma once

#include <memory>

#include "measure.h"

namespace bench {

/// The least that the operations between the model and the client prescribe for one list: a copy into a value's fields,
/// a copy into the client's list, the calls of the platform that their trace and log lines ask for, and their virtual
/// calls.
class LimitRelay {
public:
    LimitRelay();
    LimitRelay(LimitRelay const&) = delete;
    LimitRelay& operator=(LimitRelay const&) = delete;
    ~LimitRelay();
    void operator()(Strings const& list);

private:
    struct Observer;
    std::unique_ptr<Observer> observer_;
};

}  // namespace bench
