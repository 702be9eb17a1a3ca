// A planted fault for the layering check: the engine reaching up into the reports.
#pragma once

#include "report/Paint.h"
#include "workspace/GlobalVariables.h"
