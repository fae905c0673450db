#include "qz_dsc/FatalError.h"

#include <gtest/gtest.h>

#include <string>

namespace qz_dsc {
namespace {

std::string g_what;
int g_code = 0;

void Record(const char* what, int code) {
  g_what = what;
  g_code = code;
}

TEST(FatalError, InstalledHookReceivesTheFaultAndCanBeRemoved) {
  EXPECT_EQ(SetFatalErrorHook(&Record), nullptr);
  ReportFatalError("bounded copy", 34);
  EXPECT_EQ(g_what, "bounded copy");
  EXPECT_EQ(g_code, 34);
  EXPECT_EQ(SetFatalErrorHook(nullptr), &Record);
}

TEST(FatalErrorDeathTest, DefaultHookEndsTheProcess) {
  EXPECT_DEATH(ReportFatalError("bounded copy", 22), "bounded copy");
}

}  // namespace
}  // namespace qz_dsc
