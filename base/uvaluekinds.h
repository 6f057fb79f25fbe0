// All value kinds in one include, for controllers that create many kinds of values.
#pragma once

#include "base/ufloatvalues.h"
#include "base/ugraphicvalues.h"
#include "base/uintvalues.h"
#include "base/umenuvalue.h"
#include "base/urationalvalue.h"
#include "base/ustringlistvalue.h"
#include "base/ustringvalue.h"
#include "base/uvalueproxy.h"
