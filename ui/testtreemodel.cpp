#include "ui/testtreemodel.h"

#include "hosting/ftestnode.h"

#include <QBrush>
#include <QColor>

namespace Quillmark
{

namespace
{

FTestNode* childAt(const FTestNode& node, int row)
{
    return FCast<FTestNode>(node.getChild(row));
}

int rowOf(const FTestNode& node)
{
    FNode* parent = node.getParent();
    return parent ? parent->indexOf(&node) : 0;
}

} // namespace

TestTreeModel::TestTreeModel(QObject* parent) : QAbstractItemModel(parent) {}

TestTreeModel::~TestTreeModel() = default;

void TestTreeModel::setRoot(FTestNode* newRoot)
{
    beginResetModel();
    root = newRoot;
    endResetModel();
}

FTestNode* TestTreeModel::nodeOf(const QModelIndex& index) const
{
    return index.isValid() ? static_cast<FTestNode*>(index.internalPointer()) : nullptr;
}

QModelIndex TestTreeModel::indexOf(FTestNode* node) const
{
    if (!node || node == root)
        return {};
    return createIndex(rowOf(*node), 0, node);
}

QString TestTreeModel::statusText(const FTestNode& node)
{
    switch (node.getStatus())
    {
    case FTestNode::kPassed:
        return "Passed";
    case FTestNode::kFailed:
        return "Failed";
    case FTestNode::kSetupFailed:
        return "Setup failed";
    case FTestNode::kTeardownFailed:
        return "Teardown failed";
    default:
        return {};
    }
}

QModelIndex TestTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    FTestNode* parentNode = parent.isValid() ? nodeOf(parent) : root;
    if (!parentNode || row < 0 || row >= parentNode->countChildren() || column < 0 ||
        column >= kColumnCount)
        return {};
    return createIndex(row, column, childAt(*parentNode, row));
}

QModelIndex TestTreeModel::parent(const QModelIndex& child) const
{
    FTestNode* node = nodeOf(child);
    auto* parentNode = node ? FCast<FTestNode>(node->getParent()) : nullptr;
    if (!parentNode || parentNode == root)
        return {};
    return createIndex(rowOf(*parentNode), 0, parentNode);
}

int TestTreeModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    FTestNode* node = parent.isValid() ? nodeOf(parent) : root;
    return node ? node->countChildren() : 0;
}

int TestTreeModel::columnCount(const QModelIndex&) const
{
    return kColumnCount;
}

QVariant TestTreeModel::data(const QModelIndex& index, int role) const
{
    FTestNode* node = nodeOf(index);
    if (!node)
        return {};
    if (index.column() == kNameColumn)
    {
        if (role == Qt::DisplayRole)
            return QString::fromStdString(node->getName().toUtf8());
        if (role == Qt::CheckStateRole)
            return node->isEnabled() ? Qt::Checked : Qt::Unchecked;
        if (role == Qt::ToolTipRole)
            return QString::fromStdString(node->getPath().toUtf8());
        return {};
    }
    if (role == Qt::DisplayRole)
        return statusText(*node);
    if (role == Qt::ForegroundRole)
    {
        const int32 status = node->getStatus();
        if (status == FTestNode::kPassed)
            return QBrush(QColor(0, 120, 0));
        if (status == FTestNode::kFailed || status == FTestNode::kSetupFailed ||
            status == FTestNode::kTeardownFailed)
            return QBrush(QColor(190, 0, 0));
    }
    return {};
}

bool TestTreeModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    FTestNode* node = nodeOf(index);
    if (!node || index.column() != kNameColumn || role != Qt::CheckStateRole)
        return false;
    node->setEnabled(value.toInt() == Qt::Checked);
    emit dataChanged(index, index, {Qt::CheckStateRole});
    return true;
}

Qt::ItemFlags TestTreeModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (index.column() == kNameColumn)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

QVariant TestTreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == kNameColumn ? QString("Test") : QString("Result");
}

void TestTreeModel::nodeChanged(FTestNode* node)
{
    QModelIndex first = indexOf(node);
    if (first.isValid())
        emit dataChanged(first, first.siblingAtColumn(kStatusColumn));
}

void TestTreeModel::refreshAll()
{
    // Keeps what the view has expanded and selected.
    emit layoutChanged();
}

} // namespace Quillmark
