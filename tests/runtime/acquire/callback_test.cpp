#include "host/acquire/download_manager.h"

#include <gtest/gtest.h>

#include "runtime/acquire/settings.h"

namespace {

class TCallback : public KPLAcquistion::AcquireCallbackIfc {
 public:
  void onStatus(std::int32_t kind, const std::string&, std::int32_t code) override {
    if (kind == KPLAcquistion::kStatus) lastCode = code;
  }
  std::int32_t lastCode = -1;
};

class TMessages : public TCallback {
 public:
  void sendMessage(KPLAcquistion::ContentNode node, bool isError) override {
    told += node.item + "=" + node.text + (isError ? "!" : "");
  }
  std::string told;
};

TEST(Callback, ShowsErrorsOnStandardErrorUnlessOverridden) {
  TCallback callback;
  testing::internal::CaptureStderr();
  callback.sendMessage({"item", "went wrong"}, true);
  callback.sendMessage({"item", "went well"}, false);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "item: went wrong\n");
}

TEST(Callback, ShowsNothingThatATerminalWouldObey) {
  TCallback callback;
  testing::internal::CaptureStderr();
  callback.sendMessage({"it\033em", "to \xC2\x9B\x07\xE2\x80\xAE, one\nline\xFF"}, true);
  const std::string mark = "\xEF\xBF\xBD";
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "it" + mark + "em: to " + mark + mark + mark + ", one line" + mark + "\n");
}

TEST(DownloadManager, SaysWhatIsMissingWithoutARepository) {
  svc::acquire::SetSettings({});
  KPLAcquistion::DownloadManager manager;
  TCallback callback;
  testing::internal::CaptureStderr();
  EXPECT_EQ(manager.startDownload(callback), 10);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "svcheck: download: no repository to download from; name one with --repository URL\n");
  EXPECT_EQ(callback.lastCode, 10);
  EXPECT_EQ(svc::acquire::LastOutcome().code, svc::acquire::EOutcome::kNoRepository);
}

TEST(DownloadManager, SendsAMessageOfAFailureThatNobodyElseReports) {
  KPLAcquistion::DownloadManager manager;
  const auto messages = [&](const svc::acquire::TSettings& settings) {
    svc::acquire::SetSettings(settings);
    TMessages callback;
    manager.startDownload(callback);
    return callback.told;
  };
  svc::acquire::TSettings settings;
  const std::string failure =
      "svcheck: download=no repository to download from; name one with "
      "--repository URL!";
  EXPECT_EQ(messages(settings), failure);
  settings.isReported = true;
  EXPECT_EQ(messages(settings), "");
  settings.offline = true;
  EXPECT_EQ(messages(settings), "");
  settings.isReported = false;
  EXPECT_EQ(messages(settings), "");
}

TEST(DownloadManager, DoesNothingOffline) {
  svc::acquire::TSettings settings;
  settings.offline = true;
  svc::acquire::SetSettings(settings);
  KPLAcquistion::DownloadManager manager;
  TCallback callback;
  EXPECT_EQ(manager.startDownload(callback), 0);
  EXPECT_EQ(callback.lastCode, 0);
  EXPECT_EQ(svc::acquire::LastOutcome().text, "");
}

}  // namespace
