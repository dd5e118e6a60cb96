#pragma once

#include "television/table_iterator.h"
