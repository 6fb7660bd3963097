#pragma once

#include "inventory/ModelName.h"

// A CD-ROM drive.
class CCdrom : public CModelName<128>
{};
