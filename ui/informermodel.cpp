#include "ui/informermodel.h"

#include "app/info/treeinformers.h"
#include "base/fnode.h"

#include <QFont>

namespace Quillmark
{

namespace
{

QString qtText(const String& text)
{
    return QString::fromStdString(text.toUtf8());
}

} // namespace

InformerModel::InformerModel(FNode* root, GTreeInformer* informer, QObject* parent)
    : QAbstractItemModel(parent), root(root), informer(informer)
{
    if (informer)
        informer->addRef();
}

InformerModel::~InformerModel()
{
    if (informer)
        informer->release();
}

FNode* InformerModel::nodeOf(const QModelIndex& index) const
{
    return index.isValid() ? static_cast<FNode*>(index.internalPointer()) : root;
}

QModelIndex InformerModel::index(int row, int column, const QModelIndex& parent) const
{
    FNode* node = nodeOf(parent);
    if (!node || row < 0 || row >= node->countChildren() || column < 0 || column >= columnCount())
        return {};
    return createIndex(row, column, node->getChild(row));
}

QModelIndex InformerModel::parent(const QModelIndex& child) const
{
    if (!child.isValid())
        return {};
    FNode* node = nodeOf(child);
    FNode* parentNode = node ? node->getParent() : nullptr;
    if (!parentNode || parentNode == root)
        return {};
    FNode* grandParent = parentNode->getParent();
    return createIndex(grandParent ? grandParent->indexOf(parentNode) : 0, 0, parentNode);
}

int InformerModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    FNode* node = nodeOf(parent);
    return node ? node->countChildren() : 0;
}

int InformerModel::columnCount(const QModelIndex&) const
{
    return informer ? informer->countColumns() : 0;
}

QVariant InformerModel::data(const QModelIndex& index, int role) const
{
    FNode* node = index.isValid() ? nodeOf(index) : nullptr;
    if (!node || !informer)
        return {};
    if (role == Qt::DisplayRole)
        return qtText(informer->getCellText(node, index.column()));
    if (role == Qt::FontRole &&
        informer->getCellStyle(node, index.column()) == GTreeInformer::kSecondStyle)
    {
        QFont font;
        font.setItalic(true);
        return font;
    }
    return {};
}

QVariant InformerModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || !informer)
        return {};
    return qtText(informer->getColumnTitle(section));
}

} // namespace Quillmark
