// SPDX-License-Identifier: MIT

#include "host/desktop/QtFolderChooser.h"

#include "host/desktop/QtText.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QFileSystemModel>
#include <QHeaderView>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace kvn::host {
namespace {

/// Returns the path, or the nearest folder above it that exists.
QString nearestFolder(QString path) {
    if (!QDir::isAbsolutePath(path)) {
        return QDir::homePath();
    }
    while (!QFileInfo(path).isDir()) {
        path = QFileInfo(path).path();
    }
    return path;
}

} // namespace

QtFolderChooser::QtFolderChooser(QWidget* parent, const QString& title, const Bundle& bundle,
                                 const QString& path)
    : QDialog(parent), files_(new QFileSystemModel(this)), tree_(new QTreeView(this)),
      choose_(new QPushButton(qtTitle(bundle.localizedString("FolderChoose")), this)) {
    QString name = title;
    while (name.endsWith(QLatin1Char(':')) || name.endsWith(QChar(0xFF1A)) ||
           name.endsWith(QLatin1Char(' '))) {
        name.chop(1);
    }
    setWindowTitle(name);
    files_->setFilter(QDir::Dirs | QDir::NoDotAndDotDot);
    files_->setOption(QFileSystemModel::DontUseCustomDirectoryIcons);
    files_->setRootPath(QDir::rootPath());
    tree_->setModel(files_);
    tree_->setRootIndex(files_->index(QDir::rootPath()));
    tree_->setHeaderHidden(true);
    for (int column = 1; column < files_->columnCount(); ++column) {
        tree_->hideColumn(column);
    }
    tree_->setAccessibleName(title);

    auto* const cancel = new QPushButton(qtTitle(bundle.localizedString("FolderCancel")), this);
    auto* const buttons = new QDialogButtonBox(this);
    buttons->addButton(choose_, QDialogButtonBox::AcceptRole);
    buttons->addButton(cancel, QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { accept(); });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { reject(); });
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(tree_);
    layout->addWidget(buttons);
    const int unit = fontMetrics().height();
    resize(28 * unit, 22 * unit);

    const auto showChosen = [this] {
        tree_->scrollTo(tree_->currentIndex(), QAbstractItemView::PositionAtCenter);
    };
    tree_->setCurrentIndex(files_->index(nearestFolder(path)));
    tree_->expand(tree_->currentIndex());
    connect(files_, &QFileSystemModel::directoryLoaded, this, showChosen); // which comes in several parts
    choose_->setDefault(true);
    tree_->setFocus();
}

QString QtFolderChooser::folder() const { return files_->filePath(tree_->currentIndex()); }

} // namespace kvn::host
