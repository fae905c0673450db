// Uses the library the way a host does: only through qz_dsc/qz_dsc.h and the
// shared library's exported names, so a class that is used by an exported
// one but left unexported fails to link here.
#include "qz_dsc/qz_dsc.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "qz_com/ComPtr.h"

namespace {

using qz_com::ComPtr;

TEST(Exports, SnapshotRoundTripThroughTheSharedLibrary) {
  auto stream = std::make_shared<qz_dsc::DataSourceStreamModifier>();
  ASSERT_TRUE(stream->Create(L"speed", qz_ds::StreamBasicType_Float));
  EXPECT_EQ(stream->SetAttribute(qz_dsc::DataSourceStreamModifier::ValueUnit,
                                 qz_dsc::DataSourceStreamVariantDerived<std::wstring>(L"m/s")),
            0);
  ASSERT_EQ(stream->GetInternalBuffer()->AddSample(5'000'000, qz_dsc::DataSourceStreamVariantDerived<double>(2.5)), 0);
  qz_dsc::DataSourceModifier source;
  source.SetId(L"bike");
  ASSERT_TRUE(source.AddStream(stream));

  qz_dsc::BasicBinarySerializer out(256, false);
  ASSERT_EQ(source.SerializeTo(out), 0);
  qz_dsc::BasicBinaryDeserializer in(out.GetBuffer(), static_cast<std::int64_t>(out.GetLength()), false);
  qz_dsc::DataSourceModifier back;
  ASSERT_EQ(back.DeserializeFrom(in), 0);
  EXPECT_EQ(back.GetId(), L"bike");
  auto speed = back.GetStreamModifier(L"speed");
  ASSERT_TRUE(speed);
  EXPECT_EQ(speed->GetValueUnit(), L"m/s");
  auto buffer = std::dynamic_pointer_cast<qz_dsc::StreamModifierRawBuffer<double>>(speed->GetInternalBuffer());
  ASSERT_TRUE(buffer);
  ASSERT_EQ(buffer->GetCount(), 1);
  EXPECT_EQ(buffer->GetSamples()[0].first, 5'000'000);
  EXPECT_EQ(buffer->GetSamples()[0].second, 2.5);
}

TEST(Exports, TimeTextsAndTypeNames) {
  EXPECT_EQ(qz_dsc::FormatTimeValue(15'000'000, 6), L"1.500");
  std::int64_t ticks = 0;
  ASSERT_TRUE(qz_dsc::ParseTimeValue(L"1:02:03.5", ticks));
  EXPECT_EQ(ticks, 37'235'000'000);
  EXPECT_STREQ(qz_dsc::GetStreamTypeXmlName(qz_ds::StreamBasicType_Vector6), L"DataSourceVector6StreamType");
  EXPECT_STREQ(qz_dsc::DSUM_MAIN_TAG, L"mpeg7:DescriptionUnit");
}

TEST(Exports, DocumentWrittenAndReadWithExportedClasses) {
  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(qz_dsc::DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()), S_OK);
  ComPtr<IXMLDOMElement> root;
  ASSERT_EQ(qz_dsc::DataSourceEncDecCommon::CreateRootNode(doc.Get(), root.GetAddressOf()), S_OK);
  qz_dsc::XMLElementExt rootExt(root.Get());
  ComPtr<IXMLDOMElement> unit;
  ASSERT_TRUE(rootExt.CreateElementChildNode(qz_dsc::DSUM_MAIN_TAG, unit.GetAddressOf()));

  qz_dsc::DataSourceUnitEncoder unitEncoder(unit.Get());
  ASSERT_TRUE(unitEncoder.CreateDataSource(L"bike", false, L"", L"", L"", false));
  qz_dsc::DataSourceStreamEncoder streamEncoder;
  ASSERT_TRUE(unitEncoder.CreateStreamEncoder(streamEncoder));
  ASSERT_TRUE(streamEncoder.CreateStream(2, qz_ds::StreamBasicType_Int, L"gear"));
  ASSERT_TRUE(streamEncoder.AddSample(L"3", 2'500'000));

  ComPtr<IXMLDOMNode> dataSource;
  ASSERT_TRUE(qz_dsc::XMLElementExt(unit.Get()).GetChild(L"DataSource", dataSource.GetAddressOf()));
  qz_dsc::DataSourceUnitDecoder unitDecoder(dataSource.Get(), L"");
  std::wstring id;
  ASSERT_TRUE(unitDecoder.GetId(id));
  EXPECT_EQ(id, L"bike");
  std::vector<qz_dsc::DataSourceStreamDecoder> streams = unitDecoder.GetDataSourceStreamDecoders();
  ASSERT_EQ(streams.size(), 1u);
  std::wstring text;
  std::int64_t time = 0;
  ASSERT_TRUE(streams[0].GetSample(0, text, time));
  EXPECT_EQ(text, L"3");
  EXPECT_EQ(time, 2'500'000);
}

TEST(Exports, ExternalStreamCastsAcrossTheLibraryBoundary) {
  std::shared_ptr<qz_dsc::DataSourceStreamRoot> root =
      qz_dsc::CreateDataSourceStreamExternal(qz_ds::StreamBasicType_Float, L"pulse");
  ASSERT_TRUE(root);
  auto typed = std::dynamic_pointer_cast<qz_dsc::DataSourceStreamExtended<double>>(root);
  ASSERT_TRUE(typed);
  auto external = std::dynamic_pointer_cast<qz_dsc::DataSourceStreamExternal>(root);
  ASSERT_TRUE(external);
  EXPECT_FALSE(std::dynamic_pointer_cast<qz_dsc::DataSourceStreamExtended<std::int32_t>>(root));
  EXPECT_EQ(typed->GetName(), L"pulse");
  EXPECT_EQ(typed->GetImplementationKind(), qz_dsc::kExternalStreamKind);

  EXPECT_EQ(external->GetTimeBase(), 0);
  external->SetTimeBase(100);
  EXPECT_EQ(external->GetTimeBase(), 100);
  ASSERT_TRUE(typed->AddSample(100, 60.0));
  ASSERT_TRUE(typed->AddSample(300, 70.0));
  std::int64_t first = -1, last = -1;
  ASSERT_TRUE(typed->GetTimeSpan(first, last));  // shown at key - time base
  EXPECT_EQ(first, 0);
  EXPECT_EQ(last, 200);
  external->SetTimeBase(0);
  double value = 0.0;
  EXPECT_EQ(typed->GetValueAt(150, 0, value), 0);
  EXPECT_EQ(value, 62.5);

  EXPECT_FALSE(qz_dsc::CreateDataSourceStreamExternal(qz_ds::StreamBasicType_Vector4, L"x"));
}

}  // namespace
