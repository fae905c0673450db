// The rows of the document's tag table in UTF-8, for the DOM's bulk access,
// which takes names as UTF-8. Made once from the wide table, on first use.
// Safe from any thread.
#pragma once

#include <string>

#include "qz_dsc/DataSourceVocabulary.h"

namespace qz_dsc {

// REQUIRES: 0 <= tag < DSUM_TAG_COUNT.
const std::string& TagUtf8(DsumTag tag);

}  // namespace qz_dsc
