#include "DialogFrame.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace vqt::dialogs {

DialogFrame::DialogFrame(const char* title, QWidget* parent)
    : QDialog(parent), buttons_(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel)) {
  setWindowTitle(QString::fromUtf8(title));
  setModal(true);
  buttons_->setObjectName(QStringLiteral("buttons"));
  // Return presses the default button even when focus is on another push button.
  QPushButton* ok = buttons_->button(QDialogButtonBox::Ok);
  ok->setDefault(true);
  ok->setAutoDefault(true);
  buttons_->button(QDialogButtonBox::Cancel)->setAutoDefault(false);
  connect(buttons_, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

bool DialogFrame::acceptEnabled() const { return buttons_->button(QDialogButtonBox::Ok)->isEnabled(); }

void DialogFrame::accept() {
  // Guards every route to OK, not only the button: a key press can arrive while it is disabled.
  if (acceptEnabled()) QDialog::accept();
}

void DialogFrame::setContent(QLayout* content) {
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(content);
  layout->addWidget(buttons_);
}

void DialogFrame::setAcceptEnabled(bool enabled) { buttons_->button(QDialogButtonBox::Ok)->setEnabled(enabled); }

void DialogFrame::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  // The settings tool is started by another program, so the window has to claim the front
  // and the keyboard itself.
  raise();
  activateWindow();
}

}  // namespace vqt::dialogs
