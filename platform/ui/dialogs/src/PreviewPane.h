// The sample picture and its compressed-then-decompressed preview, side by side, each scaled
// to a fixed box so the dialog does not change size while the preview updates.
#pragma once

#include "vqt/dialogs/ImageSettingsModel.h"

#include <QImage>
#include <QWidget>

class QLabel;

namespace vqt::dialogs {

// A copy of the pixels as an image; a null image when the size and the byte count disagree.
QImage toQImage(const RgbaImage& picture);

class PreviewPane : public QWidget {
  Q_OBJECT

 public:
  explicit PreviewPane(const RgbaImage& sample, QWidget* parent = nullptr);

  void showPending();
  void showResult(const PreviewResult& result);

 private:
  QLabel* original_;
  QLabel* preview_;
};

}  // namespace vqt::dialogs
