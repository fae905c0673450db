// The "QZ.CSV" importer: settings, then the whole file into memory as cell
// texts, then every stream's samples converted, and only when all of that
// succeeded the unit is touched. A failure therefore leaves the unit as it
// was, and is logged once with the file, line and column it concerns.
#include "qz_dsc/CsvImporter.h"

#include <filesystem>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "CsvError.h"
#include "CsvSettings.h"
#include "CsvStreamLayout.h"
#include "CsvTableReader.h"
#include "CsvValueText.h"
#include "Utf8Text.h"
#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceStreamExtended.h"
#include "qz_dsc/DataSourceStreamExternal.h"
#include "qz_dsc/IDataSourceUnit.h"
#include "qz_dsc/IDataSourceUnitExternal.h"
#include "qz_dsc/TimeValueText.h"
#include "qz_log/qz_log.h"

namespace qz_dsc {
namespace {

using csv::CsvError;
using csv::CsvStreamPlan;
using csv::CsvTable;

constexpr int kLogError = 1;
constexpr int kLogWarning = 2;
// Cell texts quoted in messages are cut to this many characters.
constexpr std::size_t kQuotedCellChars = 40;
constexpr int kSecondsDigits = 7;
constexpr int kMillisecondsDigits = 4;
constexpr int kMicrosecondsDigits = 1;

void Log(int level, const std::wstring& text) { qz_log::_reportW0(level, __FILE__, __LINE__, L"%s", text.c_str()); }

std::wstring Quoted(std::string_view cell) {
  const bool cut = cell.size() > kQuotedCellChars;
  return L"\"" + utf8text::ToWide(cell.substr(0, kQuotedCellChars)) + (cut ? L"...\"" : L"\"");
}

// The context of one import, for messages.
struct Context {
  std::wstring file;
  const CsvTable& table;
  const csv::CsvStreamLayout& layout;

  std::wstring At(std::size_t row, std::size_t column) const {
    return file + L":" + std::to_wstring(table.rowLines[row]) + L": column " + std::to_wstring(column + 1) + L" \"" +
           layout.columnNames[column] + L"\": ";
  }
  [[noreturn]] void Fail(std::size_t row, std::size_t column, const std::wstring& text) const {
    throw CsvError{E_FAIL, At(row, column) + text};
  }
};

std::vector<std::int64_t> ReadTimes(const Context& ctx, const csv::CsvSettings& settings) {
  const std::size_t column = ctx.layout.timeColumn;
  const csv::CsvColumn& cells = ctx.table.columns[column];
  std::vector<std::int64_t> times(cells.Size());
  const bool iso = settings.timeUnit == csv::TimeUnit::Text && !times.empty() && csv::LooksLikeIsoDate(cells.Cell(0));
  std::int64_t isoOrigin = 0;
  bool warned = false;
  for (std::size_t row = 0; row < times.size(); ++row) {
    const std::string_view cell = cells.Cell(row);
    if (csv::TrimBlanks(cell).empty()) ctx.Fail(row, column, L"the time is empty");
    std::int64_t t = 0;
    bool ok = false;
    const wchar_t* expected = L"a time in seconds";
    switch (settings.timeUnit) {
      case csv::TimeUnit::Seconds:
        ok = csv::ParseDecimalTicks(cell, settings.decimal, kSecondsDigits, t);
        break;
      case csv::TimeUnit::Milliseconds:
        expected = L"a time in milliseconds";
        ok = csv::ParseDecimalTicks(cell, settings.decimal, kMillisecondsDigits, t);
        break;
      case csv::TimeUnit::Microseconds:
        expected = L"a time in microseconds";
        ok = csv::ParseDecimalTicks(cell, settings.decimal, kMicrosecondsDigits, t);
        break;
      case csv::TimeUnit::Ticks:
        expected = L"a time in ticks";
        ok = csv::ParseDecimalTicks(cell, settings.decimal, 0, t);
        break;
      case csv::TimeUnit::Text:
        if (iso) {
          expected = L"an ISO 8601 date-time like the first row's";
          ok = csv::ParseIsoDateTime(cell, t);
          if (ok && row == 0) isoOrigin = t;
          ok = ok && !__builtin_sub_overflow(t, isoOrigin, &t);
        } else {
          expected = L"a time text";
          ok = !csv::LooksLikeIsoDate(cell) && ParseTimeValue(utf8text::ToWide(csv::TrimBlanks(cell)), t);
        }
        break;
    }
    if (!ok) ctx.Fail(row, column, Quoted(cell) + L" is not " + expected);
    times[row] = t;
    if (row > 0 && t < times[row - 1] && !warned) {
      warned = true;
      Log(kLogWarning, ctx.At(row, column) + L"the time goes backwards (" + Quoted(cell) + L" after " +
                           Quoted(cells.Cell(row - 1)) + L"); samples are kept in time order");
    }
  }
  return times;
}

// Puts the parsed cells of column into samples, skipping empty cells; false
// with badRow at the first cell parse refuses.
template <class T, class Parse>
bool CollectColumn(const csv::CsvColumn& cells, const std::vector<std::int64_t>& times, bool keepBlanks, Parse parse,
                   std::map<std::int64_t, T>& samples, std::size_t& badRow) {
  samples.clear();
  T value{};
  for (std::size_t row = 0; row < times.size(); ++row) {
    const std::string_view cell = cells.Cell(row);
    if (keepBlanks ? cell.empty() : csv::TrimBlanks(cell).empty()) continue;
    if (!parse(cell, value)) {
      badRow = row;
      return false;
    }
    samples.insert_or_assign(samples.end(), times[row], std::move(value));
  }
  return true;
}

// The samples of one planned stream, ready to hand to a stream of its type.
class PreparedStream {
 public:
  using Store = std::function<bool(const std::shared_ptr<DataSourceStreamRoot>&, bool setUnit)>;

  CsvStreamPlan plan;
  std::shared_ptr<DataSourceStreamRoot> existing;
  Store store;

  template <class T>
  void Hold(std::map<std::int64_t, T>&& samples) {
    auto held = std::make_shared<std::map<std::int64_t, T>>(std::move(samples));
    store = [held, unit = plan.unit](const std::shared_ptr<DataSourceStreamRoot>& stream, bool setUnit) {
      auto typed = std::dynamic_pointer_cast<DataSourceStreamExtended<T>>(stream);
      if (!typed) return false;
      if (setUnit) typed->SetValueUnit(unit.c_str());
      typed->ReplaceSamples(std::move(*held));
      if (auto external = std::dynamic_pointer_cast<DataSourceStreamExternal>(stream)) external->SetTimeBase(0);
      return true;
    };
  }
};

void PrepareScalar(const Context& ctx, const std::vector<std::int64_t>& times, char decimal, PreparedStream& out) {
  const std::size_t column = out.plan.columns[0];
  const csv::CsvColumn& cells = ctx.table.columns[column];
  std::size_t bad = 0;
  const auto asInt = [](std::string_view c, std::int32_t& v) { return csv::ParseInt32(c, v); };
  const auto asDouble = [decimal](std::string_view c, double& v) { return csv::ParseDouble(c, decimal, v); };
  const auto asString = [](std::string_view c, std::wstring& v) {
    utf8text::AssignWide(c, v);
    return true;
  };
  qz_ds::StreamBasicType& type = out.plan.type;
  if (type == qz_ds::StreamBasicType_None || type == qz_ds::StreamBasicType_Int) {
    std::map<std::int64_t, std::int32_t> ints;
    if (CollectColumn(cells, times, false, asInt, ints, bad)) {
      if (type == qz_ds::StreamBasicType_Int || !ints.empty()) {
        type = qz_ds::StreamBasicType_Int;
        out.Hold(std::move(ints));
        return;
      }
    } else if (type == qz_ds::StreamBasicType_Int) {
      ctx.Fail(bad, column, Quoted(cells.Cell(bad)) + L" is not a 32-bit integer");
    }
  }
  if (type == qz_ds::StreamBasicType_None || type == qz_ds::StreamBasicType_Float) {
    std::map<std::int64_t, double> doubles;
    if (CollectColumn(cells, times, false, asDouble, doubles, bad)) {
      type = qz_ds::StreamBasicType_Float;
      out.Hold(std::move(doubles));
      return;
    }
    if (type == qz_ds::StreamBasicType_Float) ctx.Fail(bad, column, Quoted(cells.Cell(bad)) + L" is not a number");
  }
  std::map<std::int64_t, std::wstring> strings;
  (void)CollectColumn(cells, times, true, asString, strings, bad);
  type = qz_ds::StreamBasicType_String;
  out.Hold(std::move(strings));
}

template <class V>
void PrepareVector(const Context& ctx, const std::vector<std::int64_t>& times, char decimal, PreparedStream& out) {
  const std::vector<std::size_t>& columns = out.plan.columns;
  std::map<std::int64_t, V> samples;
  V value{};
  for (std::size_t row = 0; row < times.size(); ++row) {
    std::size_t empty = 0;
    for (std::size_t c : columns) empty += csv::TrimBlanks(ctx.table.columns[c].Cell(row)).empty() ? 1 : 0;
    if (empty == columns.size()) continue;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const std::string_view cell = ctx.table.columns[columns[i]].Cell(row);
      if (empty != 0 && csv::TrimBlanks(cell).empty()) {
        ctx.Fail(row, columns[i], L"empty, but other components of \"" + out.plan.name + L"\" are not");
      }
      if (!csv::ParseDouble(cell, decimal, value[static_cast<int>(i)])) ctx.Fail(row, columns[i], Quoted(cell) + L" is not a number");
    }
    samples.insert_or_assign(samples.end(), times[row], value);
  }
  out.Hold(std::move(samples));
}

std::vector<qz_ds::StreamInfo> DefinitionsOf(IDataSourceUnitExternal* unit) {
  qz_com::ComPtr<IDataSourceUnit> described;
  if (FAILED(qz_com::ComPtr<IDataSourceUnitExternal>(unit).As(&described)) || !described) return {};
  return described->GetDataSourceInfo().GetStreams();
}

qz_ds::StreamBasicType TypeOf(const std::shared_ptr<DataSourceStreamRoot>& stream) {
  const auto base = std::dynamic_pointer_cast<qz_ds::DataSourceStreamBase>(stream);
  return base ? base->GetBasicType() : qz_ds::StreamBasicType_None;
}

void ImportFile(const std::wstring& path, const std::wstring& file, const std::wstring& persistency,
                IDataSourceUnitExternal* unit, const CsvImporterOptions& options) {
  if (unit == nullptr) throw CsvError{E_POINTER, file + L": no data source to fill"};
  csv::CsvSettings settings;
  try {
    settings = csv::CsvSettings::Parse(persistency);
  } catch (CsvError& e) {
    e.message = file + L": " + e.message;
    throw;
  }
  const CsvTable table =
      csv::CsvTableReader(file, settings.separator, settings.skipRows, options.maxLineBytes).Read(path);
  const csv::CsvStreamLayout layout =
      csv::CsvStreamLayout::Build(table.header, settings, DefinitionsOf(unit), file, table.headerLine);
  const Context ctx{file, table, layout};
  const std::wstring headerAt = file + L":" + std::to_wstring(table.headerLine) + L": ";
  const std::vector<std::int64_t> times = ReadTimes(ctx, settings);

  std::vector<PreparedStream> prepared;
  for (const CsvStreamPlan& plan : layout.streams) {
    PreparedStream p{plan, unit->GetStream(plan.name.c_str()), {}};
    if (p.existing) {
      const qz_ds::StreamBasicType held = TypeOf(p.existing);
      const bool fits = held == plan.type || (plan.columns.size() == 1 && plan.type == qz_ds::StreamBasicType_None &&
                                              csv::IsScalarStreamType(held));
      if (!fits) throw CsvError{E_FAIL, headerAt + L"the stream \"" + plan.name + L"\" the data source holds has another type"};
      p.plan.type = held;
    } else if (plan.defined) {
      throw CsvError{E_FAIL, headerAt + L"the data source lists the stream \"" + plan.name + L"\" but does not hold it"};
    }
    switch (p.plan.type) {
      case qz_ds::StreamBasicType_Vector2:
        PrepareVector<qz_math::Vector2>(ctx, times, settings.decimal, p);
        break;
      case qz_ds::StreamBasicType_Vector3:
        PrepareVector<qz_math::Vector3>(ctx, times, settings.decimal, p);
        break;
      case qz_ds::StreamBasicType_Vector6:
        PrepareVector<qz_math::VectorN<6>>(ctx, times, settings.decimal, p);
        break;
      default:
        PrepareScalar(ctx, times, settings.decimal, p);
        break;
    }
    prepared.push_back(std::move(p));
  }

  // New streams are made and filled before the unit changes at all.
  std::vector<std::shared_ptr<DataSourceStreamRoot>> created(prepared.size());
  for (std::size_t i = 0; i < prepared.size(); ++i) {
    PreparedStream& p = prepared[i];
    if (p.existing) continue;
    created[i] = CreateDataSourceStreamExternal(p.plan.type, p.plan.name);
    if (!created[i] || !p.store(created[i], true)) {
      throw CsvError{E_FAIL, headerAt + L"cannot make a stream \"" + p.plan.name + L"\""};
    }
  }
  for (std::size_t i = 0; i < prepared.size(); ++i) {
    PreparedStream& p = prepared[i];
    if (p.existing) {
      if (!p.store(p.existing, false)) {
        throw CsvError{E_FAIL, headerAt + L"the stream \"" + p.plan.name + L"\" does not take samples of its type"};
      }
    } else {
      const HRESULT hr = unit->AddStream(created[i]);
      if (FAILED(hr)) throw CsvError{hr, headerAt + L"the data source refused the stream \"" + p.plan.name + L"\""};
    }
  }
  for (std::size_t column : layout.skippedColumns) {
    Log(kLogWarning, headerAt + L"column " + std::to_wstring(column + 1) + L" \"" + layout.columnNames[column] +
                         L"\" skipped: the data source has no stream of that name");
  }
}

class CsvImporter final : public IExternalDataSourceImporter {
 public:
  explicit CsvImporter(const CsvImporterOptions& options) : m_options(options) {}

  HRESULT Import(const std::wstring& dataFilename, const std::wstring& persistency,
                 IDataSourceUnitExternal* unit) override {
    std::wstring file = dataFilename;
    try {
      file = std::filesystem::path(dataFilename).filename().wstring();
      ImportFile(dataFilename, file, persistency, unit, m_options);
      return S_OK;
    } catch (const CsvError& e) {
      Log(kLogError, e.message);
      return e.result;
    } catch (const std::bad_alloc&) {
      Log(kLogError, file + L": out of memory");
      return E_OUTOFMEMORY;
    } catch (const std::exception& e) {
      Log(kLogError, file + L": " + utf8text::ToWide(e.what()));
      return E_FAIL;
    } catch (...) {
      Log(kLogError, file + L": import failed");
      return E_FAIL;
    }
  }

 private:
  CsvImporterOptions m_options;
};

}  // namespace

bool RegisterCsvImporter() {
  return RegisterExternalDataSourceImporterFactory(kCsvConverterName, [] { return CreateCsvImporter(); });
}

std::shared_ptr<IExternalDataSourceImporter> CreateCsvImporter() { return CreateCsvImporter(CsvImporterOptions{}); }

std::shared_ptr<IExternalDataSourceImporter> CreateCsvImporter(const CsvImporterOptions& options) {
  return std::make_shared<CsvImporter>(options);
}

}  // namespace qz_dsc
