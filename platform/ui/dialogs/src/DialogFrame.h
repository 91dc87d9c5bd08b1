// The frame shared by the settings dialogs: fixed title, OK and Cancel buttons with OK as the
// default (Return) and Cancel on Escape, and opening in front with keyboard focus.
#pragma once

#include <QDialog>

class QDialogButtonBox;
class QLayout;

namespace vqt::dialogs {

class DialogFrame : public QDialog {
  Q_OBJECT

 public:
  DialogFrame(const char* title, QWidget* parent);

  // OK is disabled while some field holds a value that cannot be accepted.
  bool acceptEnabled() const;

  void accept() override;

 protected:
  // Lays out `content` above the buttons; call once from the derived constructor.
  void setContent(QLayout* content);
  void setAcceptEnabled(bool enabled);
  void showEvent(QShowEvent* event) override;

 private:
  QDialogButtonBox* buttons_;
};

}  // namespace vqt::dialogs
