#pragma once

#include "inventory/ModelName.h"

// A tape drive. For the agent: no reader here makes one.
class CDat : public CModelName<128>
{};
