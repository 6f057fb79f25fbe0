// All value kinds in one include, for controllers that create many kinds of values.
#pragma once

#include "base/values/ufloatvalues.h"
#include "base/values/ugraphicvalues.h"
#include "base/values/uintvalues.h"
#include "base/values/umenuvalue.h"
#include "base/values/urationalvalue.h"
#include "base/values/ustringlistvalue.h"
#include "base/values/ustringvalue.h"
#include "base/values/uvalueproxy.h"
