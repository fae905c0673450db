#include "qz_dsc/IStreamModifierRawBufferRoot.h"

namespace qz_dsc {

// Out of line so that the interface's type information lives in the library once.
IStreamModifierRawBufferRoot::~IStreamModifierRawBufferRoot() = default;

}  // namespace qz_dsc
