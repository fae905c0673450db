// The module's string table: display texts of the property sets, by resource
// id (279 to 296). Immutable; safe from any thread.
#pragma once

namespace qz_dsc {

enum StringId : int {
  IDS_NAME = 279,
  IDS_DATA_TYPE = 280,
  IDS_LOW_RANGE = 281,
  IDS_HIGH_RANGE = 282,
  IDS_STREAM_TYPE = 283,
  IDS_SAMPLE_COUNT = 284,
  IDS_MIN_DATA_VALUE = 285,
  IDS_MAX_DATA_VALUE = 286,
  IDS_UNIT_NAME = 287,
  IDS_CONTINUOUS = 288,
  IDS_CONSTANT = 289,
  IDS_OVERLAY_NUMBER = 290,
  IDS_DATA_STREAMS = 291,
  IDS_NO_DATA_STREAM = 292,
  IDS_VIDEO_OFFSET = 293,
  IDS_FIRST_SAMPLE_TIME = 294,
  IDS_START_TIME = 295,
  IDS_END_TIME = 296,
};

class StringTable {
 public:
  // The text of resource id, or nullptr for an id outside the table.
  static const wchar_t* Load(int id) noexcept;
};

}  // namespace qz_dsc
