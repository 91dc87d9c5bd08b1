// The installed binding with the real window: OK on Return writes back, and without a display
// the request is cancelled with one line on standard error.
#include <gtest/gtest.h>

#include <QApplication>
#include <QSlider>
#include <QTest>
#include <QTimer>

#include <cstdlib>
#include <functional>

#include <QuickTime/StandardCompressionDialog.h>

#include "vqt/binding/CompressionDialogs.h"

namespace {

// Keeps the QApplication for the life of the process, as the dialogs library does.
void ensureApplication() {
  if (QCoreApplication::instance()) return;
  if (std::getenv("QT_QPA_PLATFORM") == nullptr) setenv("QT_QPA_PLATFORM", "offscreen", 1);
  static int argc = 1;
  static char name[] = "dialog_binding_tests";
  static char* argv[] = {name, nullptr};
  new QApplication(argc, argv);
}

void whenDialogOpens(std::function<void(QWidget&)> act) {
  auto* poll = new QTimer;
  QObject::connect(poll, &QTimer::timeout, [poll, act] {
    QWidget* dialog = QApplication::activeModalWidget();
    if (!dialog || !dialog->isVisible()) return;
    poll->stop();
    poll->deleteLater();
    act(*dialog);
  });
  poll->start(10);
}

void pressReturn(QWidget& dialog) { QTest::keyClick(dialog.focusWidget() ? dialog.focusWidget() : &dialog, Qt::Key_Return); }

class DialogBindingWindow : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(OpenADefaultComponent(StandardCompressionType, StandardCompressionSubType, &image), noErr);
    SCSpatialSettings spatial{'apcn', nullptr, 32, codecNormalQuality};
    SCTemporalSettings temporal{codecNormalQuality, Long2Fix(25), 1};
    SCSetInfo(image, scSpatialSettingsType, &spatial);
    SCSetInfo(image, scTemporalSettingsType, &temporal);
    VqtInstallCompressionDialogs();
  }
  void TearDown() override {
    VqtSetStandardCompressionDialogHook(nullptr);
    CloseComponent(image);
  }
  ComponentInstance image = nullptr;
};

TEST_F(DialogBindingWindow, ReturnAcceptsAndTheSliderValueComesBack) {
  ensureApplication();
  whenDialogOpens([](QWidget& dialog) {
    auto* quality = dialog.findChild<QSlider*>(QStringLiteral("quality"));
    ASSERT_NE(quality, nullptr);
    quality->setValue(0x2A0);
    pressReturn(dialog);
  });
  ASSERT_EQ(SCRequestSequenceSettings(image), noErr);
  SCSpatialSettings spatial{};
  SCTemporalSettings temporal{};
  SCGetInfo(image, scSpatialSettingsType, &spatial);
  SCGetInfo(image, scTemporalSettingsType, &temporal);
  EXPECT_EQ(spatial.codecType, CodecType('apcn'));
  EXPECT_EQ(spatial.spatialQuality, 0x2A0u);
  EXPECT_EQ(temporal.frameRate, Long2Fix(25));
  EXPECT_EQ(temporal.keyFrameRate, 1);
}

TEST(DialogBindingNoDisplay, TheRequestIsCancelledWithOneLineOnStandardError) {
  if (QCoreApplication::instance()) GTEST_SKIP() << "an application object already exists in this process";
  unsetenv("QT_QPA_PLATFORM");
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  VqtInstallCompressionDialogs();
  ComponentInstance image = nullptr;
  ASSERT_EQ(OpenADefaultComponent(StandardCompressionType, StandardCompressionSubType, &image), noErr);
  SCSpatialSettings before{};
  SCGetInfo(image, scSpatialSettingsType, &before);
  testing::internal::CaptureStderr();
  const ComponentResult result = SCRequestSequenceSettings(image);
  const std::string errors = testing::internal::GetCapturedStderr();
  EXPECT_EQ(result, scUserCancelled);
  EXPECT_EQ(errors, "Compression dialog unavailable: no display\n");
  SCSpatialSettings after{};
  SCGetInfo(image, scSpatialSettingsType, &after);
  EXPECT_EQ(after.codecType, before.codecType);
  EXPECT_EQ(after.spatialQuality, before.spatialQuality);
  VqtSetStandardCompressionDialogHook(nullptr);
  CloseComponent(image);
}

}  // namespace
