#pragma once

#include "inventory/ModelName.h"

// A disk; tape drives are kept as disks too (inventory/Disk_Info.h).
class CDisk : public CModelName<128>
{};
