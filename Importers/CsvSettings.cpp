// Settings of the CSV importer from JSON. Every key is optional; an unknown
// key or a value of the wrong kind is an error rather than silently ignored,
// so that a misspelt setting does not import the file differently.
#include "CsvSettings.h"

#include <nlohmann/json.hpp>

#include <limits>
#include <string>

#include "CsvError.h"
#include "Utf8Text.h"

namespace qz_dsc::csv {
namespace {

[[noreturn]] void Fail(const std::string& what) {
  throw CsvError{E_INVALIDARG, L"settings: " + utf8text::ToWide(what)};
}

char OneCharacter(const nlohmann::json& value, const char* key) {
  if (!value.is_string() || value.get_ref<const std::string&>().size() != 1) {
    Fail(std::string("\"") + key + "\" must be a string of one character");
  }
  return value.get_ref<const std::string&>()[0];
}

std::size_t Count(const nlohmann::json& value, const char* key) {
  if (!value.is_number_unsigned() && !(value.is_number_integer() && value.get<std::int64_t>() >= 0)) {
    Fail(std::string("\"") + key + "\" must be a non-negative integer");
  }
  const auto n = value.get<std::uint64_t>();
  if (n > std::numeric_limits<std::size_t>::max()) Fail(std::string("\"") + key + "\" is too large");
  return static_cast<std::size_t>(n);
}

TimeUnit TimeUnitOf(const nlohmann::json& value) {
  if (value.is_string()) {
    const auto& text = value.get_ref<const std::string&>();
    if (text == "s") return TimeUnit::Seconds;
    if (text == "ms") return TimeUnit::Milliseconds;
    if (text == "us") return TimeUnit::Microseconds;
    if (text == "ticks") return TimeUnit::Ticks;
    if (text == "text") return TimeUnit::Text;
  }
  Fail("\"timeUnit\" must be \"s\", \"ms\", \"us\", \"ticks\" or \"text\"");
}

qz_ds::StreamBasicType TypeOf(const std::string& column, const nlohmann::json& value) {
  if (value.is_string()) {
    const auto& text = value.get_ref<const std::string&>();
    if (text == "int") return qz_ds::StreamBasicType_Int;
    if (text == "double") return qz_ds::StreamBasicType_Float;
    if (text == "string") return qz_ds::StreamBasicType_String;
  }
  Fail("\"types\": the type of \"" + column + "\" must be \"int\", \"double\" or \"string\"");
}

}  // namespace

CsvSettings CsvSettings::Parse(const std::wstring& json) {
  CsvSettings settings;
  const std::string text = utf8text::ToUtf8(json);
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) return settings;
  const nlohmann::json root = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (root.is_discarded()) Fail("not valid JSON");
  if (!root.is_object()) Fail("not a JSON object");
  for (const auto& [key, value] : root.items()) {
    if (key == "separator") {
      settings.separator = OneCharacter(value, "separator");
    } else if (key == "decimal") {
      settings.decimal = OneCharacter(value, "decimal");
      if (settings.decimal != '.' && settings.decimal != ',') Fail("\"decimal\" must be \".\" or \",\"");
    } else if (key == "timeColumn") {
      if (value.is_string()) {
        settings.timeColumnByName = true;
        settings.timeColumnName = utf8text::ToWide(value.get_ref<const std::string&>());
      } else if (value.is_number_integer()) {
        settings.timeColumnIndex = Count(value, "timeColumn");
      } else {
        Fail("\"timeColumn\" must be a column name or a 0-based index");
      }
    } else if (key == "timeUnit") {
      settings.timeUnit = TimeUnitOf(value);
    } else if (key == "skipRows") {
      settings.skipRows = Count(value, "skipRows");
    } else if (key == "types") {
      if (!value.is_object()) Fail("\"types\" must be an object of column names");
      for (const auto& [column, type] : value.items()) settings.types[utf8text::ToWide(column)] = TypeOf(column, type);
    } else {
      Fail("unknown key \"" + key + "\"");
    }
  }
  const char sep = settings.separator;
  if (sep == settings.decimal) Fail("\"separator\" and \"decimal\" are the same character");
  if (sep == '"' || sep == '\r' || sep == '\n') Fail("\"separator\" cannot be a quote or a line break");
  return settings;
}

}  // namespace qz_dsc::csv
