#pragma once

#include "television/log.h"

namespace simulator {

using television::LogCapture;
using television::LogLevel;
using television::LogSink;
using television::parseLogLevel;
using television::setLogLevel;
using television::setLogSink;

}  // namespace simulator
