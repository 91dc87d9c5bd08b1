// Selecting a combo box entry by its stored value, adding an entry when the value is not
// offered, so a preset outside the list is still shown as it is.
#pragma once

#include <QComboBox>
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

}  // namespace vqt::dialogs
