// Beside the planted fault, an include the layering allows.
#pragma once

#include "workspace/Error.h"
