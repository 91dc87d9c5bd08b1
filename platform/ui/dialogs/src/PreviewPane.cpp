#include "PreviewPane.h"

#include <QGridLayout>
#include <QLabel>
#include <QPixmap>

namespace vqt::dialogs {

namespace {

constexpr QSize kPictureBox(256, 192);

QLabel* makePictureLabel(const QString& objectName) {
  auto* label = new QLabel;
  label->setObjectName(objectName);
  label->setFixedSize(kPictureBox);
  label->setAlignment(Qt::AlignCenter);
  label->setWordWrap(true);
  label->setFrameShape(QFrame::StyledPanel);
  return label;
}

void showPicture(QLabel* label, const QImage& image) {
  label->setPixmap(QPixmap::fromImage(image.scaled(kPictureBox, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
}

}  // namespace

QImage toQImage(const RgbaImage& picture) {
  if (!picture.valid()) return {};
  const QImage view(picture.pixels.data(), picture.width, picture.height, picture.width * 4, QImage::Format_RGBA8888);
  return view.copy();
}

PreviewPane::PreviewPane(const RgbaImage& sample, QWidget* parent)
    : QWidget(parent),
      original_(makePictureLabel(QStringLiteral("originalPicture"))),
      preview_(makePictureLabel(QStringLiteral("previewPicture"))) {
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(new QLabel(tr("Original")), 0, 0, Qt::AlignHCenter);
  layout->addWidget(new QLabel(tr("Compressed")), 0, 1, Qt::AlignHCenter);
  layout->addWidget(original_, 1, 0);
  layout->addWidget(preview_, 1, 1);

  const QImage image = toQImage(sample);
  if (image.isNull()) {
    original_->setText(tr("No sample picture"));
  } else {
    showPicture(original_, image);
  }
  showPending();
}

void PreviewPane::showPending() {
  if (preview_->pixmap().isNull()) preview_->setText(tr("Preparing preview..."));
}

void PreviewPane::showResult(const PreviewResult& result) {
  const QImage image = toQImage(result.image);
  if (!result.error.empty() || image.isNull()) {
    preview_->setPixmap({});
    preview_->setText(result.error.empty() ? tr("No preview") : QString::fromStdString(result.error));
    return;
  }
  showPicture(preview_, image);
}

}  // namespace vqt::dialogs
