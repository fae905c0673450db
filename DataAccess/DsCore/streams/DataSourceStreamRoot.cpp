// Anchors the stream interface's virtual table and type information in the
// shared library, so that hosts cast streams they get from it.
#include "qz_dsc/DataSourceStreamRoot.h"

namespace qz_dsc {

DataSourceStreamRoot::~DataSourceStreamRoot() = default;

}  // namespace qz_dsc
