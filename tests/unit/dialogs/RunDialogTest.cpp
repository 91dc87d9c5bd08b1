// The entry points as a user meets them: a modal window, Return for OK, Escape for Cancel,
// and the model written only on OK.
#include "DialogTestSupport.h"
#include "vqt/dialogs/Dialogs.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QSlider>
#include <QSpinBox>
#include <QTest>
#include <QTimer>

#include <functional>

namespace vqt::dialogs::test {
namespace {

class RunDialog : public DialogTest {};

// Runs `act` on the modal window once it is open. Keys go to the widget that has the keyboard
// focus, as a person's key presses would.
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

void press(QWidget& dialog, Qt::Key key) {
  QWidget* target = dialog.focusWidget() ? dialog.focusWidget() : &dialog;
  QTest::keyClick(target, key);
}

TEST_F(RunDialog, OkWritesEveryChangeBack) {
  ImageSettingsModel model = threeCodecModel();
  whenDialogOpens([](QWidget& dialog) {
    control<QComboBox>(dialog, "codec")->setCurrentIndex(0);
    control<QSlider>(dialog, "quality")->setValue(0x123);
    QLineEdit* rate = control<QComboBox>(dialog, "frameRate")->lineEdit();
    rate->setFocus();
    rate->selectAll();
    QTest::keyClicks(rate, QStringLiteral("59.94"));
    press(dialog, Qt::Key_Return);  // from inside the typed field
  });
  EXPECT_EQ(runImageSettingsDialog(model), DialogResult::Accepted);
  EXPECT_EQ(model.settings.codecType, kProRes);
  EXPECT_EQ(model.settings.spatialQuality, 0x123u);
  EXPECT_EQ(model.settings.frameRate, 59.94f);
  EXPECT_EQ(model.settings.keyFrameRate, 12);
  const std::map<std::string, std::string> proresOptions{{"profile", "422"}, {"bitDepth", "10"}};
  EXPECT_EQ(model.settings.codecOptions, proresOptions);
}

TEST_F(RunDialog, ReturnInTheKeyFrameFieldTakesTheTypedNumberAndAccepts) {
  ImageSettingsModel model = threeCodecModel();
  whenDialogOpens([](QWidget& dialog) {
    QLineEdit* interval = control<QSpinBox>(dialog, "keyFrameInterval")->findChild<QLineEdit*>();
    interval->setFocus();
    interval->selectAll();
    QTest::keyClicks(interval, QStringLiteral("48"));
    press(dialog, Qt::Key_Return);
  });
  EXPECT_EQ(runImageSettingsDialog(model), DialogResult::Accepted);
  EXPECT_EQ(model.settings.keyFrameRate, 48);
}

TEST_F(RunDialog, EscapeCancelsAndLeavesEverythingUnchanged) {
  ImageSettingsModel model = threeCodecModel();
  const ImageSettings before = model.settings;
  whenDialogOpens([](QWidget& dialog) {
    control<QComboBox>(dialog, "codec")->setCurrentIndex(2);
    control<QSlider>(dialog, "quality")->setValue(0);
    control<QComboBox>(dialog, "keyFrameMode")->setCurrentIndex(0);
    press(dialog, Qt::Key_Escape);
  });
  EXPECT_EQ(runImageSettingsDialog(model), DialogResult::Cancelled);
  EXPECT_EQ(model.settings, before);
}

TEST_F(RunDialog, ReturnDoesNothingWhileTheFrameRateIsGarbage) {
  ImageSettingsModel model = threeCodecModel();
  const ImageSettings before = model.settings;
  bool stillOpenAfterReturn = false;
  whenDialogOpens([&](QWidget& dialog) {
    QLineEdit* rate = control<QComboBox>(dialog, "frameRate")->lineEdit();
    rate->setFocus();
    rate->selectAll();
    QTest::keyClicks(rate, QStringLiteral("29.97.1"));
    press(dialog, Qt::Key_Return);
    stillOpenAfterReturn = dialog.isVisible();
    press(dialog, Qt::Key_Escape);
  });
  EXPECT_EQ(runImageSettingsDialog(model), DialogResult::Cancelled);
  EXPECT_TRUE(stillOpenAfterReturn);
  EXPECT_EQ(model.settings, before);
}

TEST_F(RunDialog, SoundDialogReturnAndEscape) {
  SoundSettingsModel model = soundModel();
  const SoundSettings before = model.settings;
  whenDialogOpens([](QWidget& dialog) {
    EXPECT_EQ(dialog.windowTitle(), kSoundSettingsTitle);
    control<QComboBox>(dialog, "channels")->setCurrentIndex(0);
    press(dialog, Qt::Key_Escape);
  });
  EXPECT_EQ(runSoundSettingsDialog(model), DialogResult::Cancelled);
  EXPECT_EQ(model.settings, before);

  whenDialogOpens([](QWidget& dialog) {
    control<QComboBox>(dialog, "channels")->setCurrentIndex(0);
    control<QComboBox>(dialog, "sampleRate")->setCurrentIndex(2);
    press(dialog, Qt::Key_Return);
  });
  EXPECT_EQ(runSoundSettingsDialog(model), DialogResult::Accepted);
  const SoundSettings chosen{'aac ', 96000, 1};
  EXPECT_EQ(model.settings, chosen);
}

}  // namespace
}  // namespace vqt::dialogs::test
