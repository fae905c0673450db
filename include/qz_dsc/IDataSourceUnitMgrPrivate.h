// The manager's operations for the host's own recording code: clearing,
// resetting and stopping every stream, the start time, merging a document
// into the list and applying snapshots.
//
// Threads: as the manager. ResetAllStreams, SetStartTime and GetStartTime do
// not hold the manager's lock while they call the units.
#pragma once

#include <cstdint>
#include <string>

#include "qz_com/qz_com.h"
#include "qz_dom/qz_dom.h"

namespace qz_dsc {

class DataSourceModifier;

struct IDataSourceUnitMgrPrivate : public IUnknown {
  virtual void QZ_STDMETHODCALLTYPE ReservedOperation() = 0;
  // E_FAIL.
  virtual HRESULT QZ_STDMETHODCALLTYPE UnsupportedOperation1() = 0;
  // E_FAIL.
  virtual HRESULT QZ_STDMETHODCALLTYPE UnsupportedOperation2() = 0;
  virtual void QZ_STDMETHODCALLTYPE RemoveAllDataSources() = 0;
  virtual void QZ_STDMETHODCALLTYPE ClearAllStreamData() = 0;
  // Every unit's ResetStreams(t); the AND of their answers.
  virtual bool QZ_STDMETHODCALLTYPE ResetAllStreams(std::int64_t t) = 0;
  // Every unit's SetStreamsOption(value): recording stops at value.
  virtual void QZ_STDMETHODCALLTYPE SetAllStreamsOption(std::int64_t value) = 0;
  virtual void QZ_STDMETHODCALLTYPE SetStartTime(std::int64_t t) = 0;
  virtual std::int64_t QZ_STDMETHODCALLTYPE GetStartTime() = 0;
  // Merges the data sources that query selects into the list by id: samples
  // at an equal time are replaced, others are added, and units the document
  // does not mention are kept. query is an XPath relative to the data source
  // list found below node (e.g. "DataSource[@name='A']"); an empty query
  // takes every data source of the list. False when node holds no list or
  // the query does not parse. Merging a list saved from
  // this same manager adds its samples at one second and later a second
  // time, at shifted times, because the document's time texts read back
  // differently from those times on.
  virtual bool QZ_STDMETHODCALLTYPE MergeXML(IXMLDOMNode* node, std::int64_t option, const std::wstring& query) = 0;
  // Hands the snapshot to the unit with its id (a new internal unit when
  // none has it). False when a unit failed to apply it.
  virtual bool QZ_STDMETHODCALLTYPE ApplyModifier(const DataSourceModifier& modifier, std::int64_t option) = 0;

 protected:
  ~IDataSourceUnitMgrPrivate() = default;
};

}  // namespace qz_dsc

QZ_DEFINE_UUIDOF(qz_dsc::IDataSourceUnitMgrPrivate, 0x8b2e61a3, 0x4f1c, 0x4d27, 0x9a, 0x33, 0x0e, 0x6d, 0x52, 0xc8,
                 0x71, 0x04)
