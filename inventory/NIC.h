#pragma once

#include "inventory/ModelName.h"

// A network card.
class CNIC : public CModelName<512>
{};
