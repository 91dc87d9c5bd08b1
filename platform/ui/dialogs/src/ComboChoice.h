// Selecting a combo box entry by its stored value, adding an entry when the value is not
// offered, so a preset outside the list is still shown as it is.
#pragma once

#include "vqt/dialogs/ImageSettingsModel.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QString>
#include <QVariant>

namespace vqt::dialogs {

inline void selectOrAdd(QComboBox* box, const QVariant& value, const QString& labelIfMissing) {
  int index = box->findData(value);
  if (index < 0) {
    box->addItem(labelIfMissing, value);
    index = box->count() - 1;
  }
  box->setCurrentIndex(index);
}

// The entry for a preset code that the list does not offer; code 0 means none was chosen yet.
inline QString unlistedCodeLabel(FourCC code) {
  if (code == 0) return QCoreApplication::translate("vqt::dialogs", "None");
  return QCoreApplication::translate("vqt::dialogs", "%1 (not available)")
      .arg(QString::fromStdString(fourCCText(code)));
}

}  // namespace vqt::dialogs
