// Overlay library stand-in: the skeleton sample type and the manager
// interface through which the overlay library lists data sources.
// PersonSkeletonData is a value type; the interface's thread safety is the
// implementer's.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qz_ds/qz_ds.h"
#include "qz_math/Vector.h"

namespace qz_ovlib {

// One skeleton pose of a tracked person: joint positions with a confidence each.
struct PersonSkeletonData {
  struct Joint {
    qz_math::Vector3 position;
    double confidence = 0.0;
    friend bool operator==(const Joint& a, const Joint& b) {
      return a.position == b.position && a.confidence == b.confidence;
    }
  };
  std::int32_t personId = 0;
  std::vector<Joint> joints;
  friend bool operator==(const PersonSkeletonData& a, const PersonSkeletonData& b) {
    return a.personId == b.personId && a.joints == b.joints;
  }
};

class IDataSourceManager {
 public:
  virtual ~IDataSourceManager() = default;
  // A new adapter for the data source with that id, or an empty pointer.
  virtual std::shared_ptr<qz_ds::DataSource> GetDataSource(const std::wstring& id) = 0;
  virtual bool IsRecording() = 0;
  virtual bool IsModified() = 0;
  virtual std::vector<qz_ds::DataSourceInfo> GetDataSourceInfos() = 0;
  // Values kept for the overlay library; stored and returned, not interpreted.
  virtual void SetValues(const std::vector<std::int64_t>& values) = 0;
  virtual const std::vector<std::int64_t>& GetValues() = 0;
};

}  // namespace qz_ovlib
