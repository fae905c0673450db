// The overlay adapter of an external unit (see UnitOverlayProxy).
#pragma once

#include "units/UnitOverlayProxy.h"

namespace qz_dsc {

class DataSourceUnitExternal;

class DataSourceUnitExternalProxy final : public UnitOverlayProxy<DataSourceUnitExternal> {
 public:
  using UnitOverlayProxy<DataSourceUnitExternal>::UnitOverlayProxy;
};

}  // namespace qz_dsc
