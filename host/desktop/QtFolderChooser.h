// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"

#include <QDialog>

class QFileSystemModel;
class QPushButton;
class QTreeView;

namespace kvn::host {

/// Lets the user choose a folder that exists. The toolkit's own chooser has no texts in the user's language,
/// and runs nested event loops for its messages.
class QtFolderChooser final : public QDialog {
public:
    /// Begins at the nearest folder of the path that exists, or else at the user's home.
    QtFolderChooser(QWidget* parent, const QString& title, const Bundle& bundle, const QString& path);

    /// Returns the path of the chosen folder.
    QString folder() const;

private:
    QFileSystemModel* const files_;
    QTreeView* const tree_;
    QPushButton* const choose_;
};

} // namespace kvn::host
