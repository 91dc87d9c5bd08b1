// The installed binding with the real window: OK on Return writes back, and without a display
// the request is cancelled with one line on standard error.
#include <gtest/gtest.h>

#include <QuickTime/StandardCompressionDialog.h>

#include <QApplication>
#include <QSlider>
#include <QTest>
#include <QTimer>

#include <cstdlib>

#include "vqt/binding/CompressionDialogs.h"

namespace {

SCSpatialSettings spatialOf(ComponentInstance ci) {
  SCSpatialSettings spatial{};
  SCGetInfo(ci, scSpatialSettingsType, &spatial);
  return spatial;
}

TEST(DialogBindingWindow, ReturnAcceptsAndTheSliderValueComesBack) {
  if (!QCoreApplication::instance()) {
    if (!std::getenv("QT_QPA_PLATFORM")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
    static int argc = 1;
    static char name[] = "dialog_binding_tests";
    static char* argv[] = {name, nullptr};
    new QApplication(argc, argv);  // kept for the life of the process, as the dialogs library does
  }
  ComponentInstance image = OpenDefaultComponent(StandardCompressionType, StandardCompressionSubType);
  SCTemporalSettings temporal{codecNormalQuality, Long2Fix(25), 1};
  SCSetInfo(image, scTemporalSettingsType, &temporal);
  VqtInstallCompressionDialogs();
  auto* poll = new QTimer;
  QObject::connect(poll, &QTimer::timeout, [poll] {
    QWidget* dialog = QApplication::activeModalWidget();
    if (!dialog || !dialog->isVisible()) return;
    poll->stop();
    poll->deleteLater();
    dialog->findChild<QSlider*>(QStringLiteral("quality"))->setValue(0x2A0);
    QTest::keyClick(dialog->focusWidget() ? dialog->focusWidget() : dialog, Qt::Key_Return);
  });
  poll->start(10);
  ASSERT_EQ(SCRequestSequenceSettings(image), noErr);
  EXPECT_EQ(spatialOf(image).spatialQuality, 0x2A0u);
  SCGetInfo(image, scTemporalSettingsType, &temporal);
  EXPECT_EQ(temporal.temporalQuality, 0x2A0u);
  EXPECT_EQ(temporal.frameRate, Long2Fix(25));
  EXPECT_EQ(temporal.keyFrameRate, 1);
  VqtSetStandardCompressionDialogHook(nullptr);
  CloseComponent(image);
}

TEST(DialogBindingNoDisplay, TheRequestIsCancelledWithOneLineOnStandardError) {
  if (QCoreApplication::instance()) GTEST_SKIP() << "an application object already exists in this process";
  unsetenv("QT_QPA_PLATFORM");
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  VqtInstallCompressionDialogs();
  ComponentInstance image = OpenDefaultComponent(StandardCompressionType, StandardCompressionSubType);
  const SCSpatialSettings before = spatialOf(image);
  testing::internal::CaptureStderr();
  EXPECT_EQ(SCRequestSequenceSettings(image), scUserCancelled);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Compression dialog unavailable: no display\n");
  EXPECT_EQ(spatialOf(image).codecType, before.codecType);
  EXPECT_EQ(spatialOf(image).spatialQuality, before.spatialQuality);
  VqtSetStandardCompressionDialogHook(nullptr);
  CloseComponent(image);
}

}  // namespace
