// The overlay adapter of an internal unit (see UnitOverlayProxy).
#pragma once

#include "units/UnitOverlayProxy.h"

namespace qz_dsc {

class DataSourceUnit;

class DataSourceUnitProxy final : public UnitOverlayProxy<DataSourceUnit> {
 public:
  using UnitOverlayProxy<DataSourceUnit>::UnitOverlayProxy;
};

}  // namespace qz_dsc
