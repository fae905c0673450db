// dscore snapshot make / dump: a data source written as a binary snapshot
// record, and any snapshot record printed in full. There is deliberately no
// way to apply one: the record's time conversion is not its own inverse,
// so a round trip would move every sample from one second on.
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <stdexcept>

#include "Commands.h"
#include "ListDocument.h"
#include "OutputFile.h"
#include "SnapshotRecord.h"
#include "TimeText.h"
#include "ToolError.h"
#include "Utf8Text.h"
#include "ValueText.h"
#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/StreamModifierRawBuffer.h"

namespace dscore_cli {
namespace {

using qz_dsc::DataSourceStreamModifier;

struct MakeOptions {
  std::string list;
  std::string source;
  std::string out;
};

struct DumpOptions {
  std::string file;
};

void RunMake(const MakeOptions& options) {
  const auto document = ListDocument::Load(options.list);
  const auto source = document.RequireSource(options.source);
  qz_dsc::DataSourceModifier snapshot;
  std::vector<StreamHandle> leftOut;
  BuildSnapshotRecord(source.Get(), snapshot, leftOut);
  for (const auto& stream : leftOut) {
    std::cerr << "dscore: snapshot: stream '" << stream.NameUtf8() << "' (" << stream.TypeWord()
              << ") has no snapshot form; left out\n";
  }
  qz_dsc::BasicBinarySerializer bytes(4096, true);
  if (snapshot.SerializeTo(bytes) != 0 || !bytes) FailInput(options.source + ": the snapshot could not be written");
  WriteOutputFile(options.out, std::string_view(reinterpret_cast<const char*>(bytes.GetBuffer()), bytes.GetLength()));
  std::cerr << "dscore: wrote a snapshot of '" << options.source << "' (" << snapshot.GetStreamModifierCount()
            << " streams, " << bytes.GetLength() << " bytes) to " << options.out << "\n";
}

// Where a damaged record goes wrong, found by reading it again stream by stream.
std::string Diagnose(unsigned char* data, std::int64_t size) {
  qz_dsc::BasicBinaryDeserializer in(data, size, false);
  std::wstring id;
  int reserved = 0;
  int count = 0;
  in >> id >> reserved >> count;
  if (!in) return "the record's header (id, reserved word, stream count) is cut short";
  const auto streams = static_cast<std::uint32_t>(count);
  for (std::uint32_t i = 0; i < streams; ++i) {
    const std::int64_t at = in.GetPosition();
    DataSourceStreamModifier record;
    if (record.DeserializeFrom(in) != 0) {
      std::string what = "stream " + std::to_string(i + 1) + " of " + std::to_string(streams) + " (at byte " +
                         std::to_string(at) + ")";
      if (!record.GetId().empty()) what += " '" + utf8text::ToUtf8(record.GetId()) + "'";
      const int type = static_cast<int>(record.GetType());
      if (type != 0 && !qz_dsc::CreateStreamModifierRawBuffer(record.GetType())) {
        return what + " has value type " + std::to_string(type) + ", which has no snapshot form";
      }
      return what + " is cut short or damaged";
    }
  }
  return "the record is damaged";
}

template <class T>
bool DumpBuffer(const std::shared_ptr<qz_dsc::IStreamModifierRawBufferRoot>& root, std::ostream& out) {
  const auto buffer = std::dynamic_pointer_cast<qz_dsc::StreamModifierRawBuffer<T>>(root);
  if (!buffer) return false;
  using Buffer = qz_dsc::StreamModifierRawBuffer<T>;
  const int flags = buffer->GetFlags();
  if (flags & Buffer::kDefaultValuePresent) out << "  default value: " << ValueText(buffer->GetDefaultValue()) << "\n";
  if (flags & Buffer::kLowRangePresent) out << "  low range: " << ValueText(buffer->GetLowRange()) << "\n";
  if (flags & Buffer::kHighRangePresent) out << "  high range: " << ValueText(buffer->GetHighRange()) << "\n";
  const auto& samples = buffer->GetSamples();
  out << "  " << samples.size() << (samples.size() == 1 ? " sample" : " samples") << "\n";
  for (const auto& [time, value] : samples) out << "    " << TimeText::ExactSeconds(time) << '\t' << ValueText(value) << "\n";
  return true;
}

void RunDump(const DumpOptions& options) {
  std::string bytes = ReadInputFile(options.file);
  auto* data = reinterpret_cast<unsigned char*>(bytes.data());
  const auto size = static_cast<std::int64_t>(bytes.size());
  qz_dsc::DataSourceModifier snapshot;
  qz_dsc::BasicBinaryDeserializer in(data, size, false);
  int result = -1;
  try {
    result = snapshot.DeserializeFrom(in);
  } catch (const std::length_error&) {
    FailInput(options.file + ": damaged snapshot record: a string or sample count is negative");
  } catch (const std::bad_alloc&) {
    FailInput(options.file + ": damaged snapshot record: a count is too large to hold");
  }
  if (result != 0) FailInput(options.file + ": damaged snapshot record: " + Diagnose(data, size));
  if (!in.IsEnd()) {
    FailInput(options.file + ": damaged snapshot record: " + std::to_string(size - in.GetPosition()) +
              " bytes follow the record's end at byte " + std::to_string(in.GetPosition()));
  }
  std::ostream& out = std::cout;
  out << "data source '" << utf8text::ToUtf8(snapshot.GetId()) << "': " << snapshot.GetStreamModifierCount()
      << " streams, " << size << " bytes\n";
  for (int i = 0; i < snapshot.GetStreamModifierCount(); ++i) {
    const auto record = snapshot.GetStreamModifier(i);
    out << "stream '" << utf8text::ToUtf8(record->GetId()) << "': type " << static_cast<int>(record->GetType())
        << ", flow type " << record->GetFlowType() << ", limit count " << record->GetLimitCount()
        << ", freeze delay " << record->GetFreezeDelay() << " s, interpolation type "
        << record->GetInterpolationType() << ", unit '" << utf8text::ToUtf8(record->GetValueUnit())
        << "', trailing attribute " << record->GetTrailingAttribute() << "\n";
    const auto buffer = record->GetInternalBuffer();
    static_cast<void>(DumpBuffer<std::int32_t>(buffer, out) || DumpBuffer<double>(buffer, out) ||
                      DumpBuffer<std::wstring>(buffer, out) || DumpBuffer<qz_math::Vector2>(buffer, out) ||
                      DumpBuffer<qz_math::VectorN<6>>(buffer, out));
  }
}

}  // namespace

void AddSnapshotCommand(CLI::App& app) {
  auto* command = app.add_subcommand("snapshot", "Write or print binary snapshot records of data sources");
  command->require_subcommand(1);
  command->footer(
      "There is no apply: the record's time conversion is not its own inverse, so writing a\n"
      "snapshot and applying it back would move every sample from one second on.\n\n"
      "Examples:\n"
      "  dscore snapshot make examples/datasource_list.xml Vehicle --out vehicle.bin\n"
      "  dscore snapshot dump vehicle.bin");

  auto make = std::make_shared<MakeOptions>();
  auto* makeCommand = command->add_subcommand("make", "Write a data source as a binary snapshot record");
  makeCommand->add_option("LIST", make->list, "the data source list (XML)")->required();
  makeCommand->add_option("SOURCE", make->source, "the data source's name")->required();
  makeCommand->add_option("--out", make->out, "the snapshot file to write")->required();
  makeCommand->footer(
      "Streams of types without a snapshot form (3-vectors, skeletons) are left out with a note.\n"
      "Sample times are written the way the library writes them: whole seconds, then the whole\n"
      "time in milliseconds; a reader takes times from one second on back as later times.\n\n"
      "Example:\n"
      "  dscore snapshot make examples/datasource_list.xml Vehicle --out vehicle.bin");
  makeCommand->callback([make] { RunMake(*make); });

  auto dump = std::make_shared<DumpOptions>();
  auto* dumpCommand = command->add_subcommand("dump", "Print a snapshot record: id, streams, attributes, samples");
  dumpCommand->add_option("FILE", dump->file, "the snapshot file")->required();
  dumpCommand->footer(
      "Times are printed as the library reads them back. A record that is cut short, has trailing\n"
      "bytes or holds impossible counts or types fails with exit code 1 and says where.\n\n"
      "Example:\n"
      "  dscore snapshot dump vehicle.bin");
  dumpCommand->callback([dump] { RunDump(*dump); });
}

}  // namespace dscore_cli
