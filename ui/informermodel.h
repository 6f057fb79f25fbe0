// A tree of the information page as a Qt item model: the nodes below a root, with the columns and
// cell texts of the tree's informer. Read-only; the page it shows owns the nodes and outlives
// the model.
#pragma once

#include <QAbstractItemModel>

namespace Quillmark
{

class FNode;
class GTreeInformer;

class InformerModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    /** `root` is borrowed; `informer` gets a reference of the model's own. */
    InformerModel(FNode* root, GTreeInformer* informer, QObject* parent = nullptr);
    ~InformerModel() override;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    FNode* nodeOf(const QModelIndex& index) const;

    FNode* root;
    GTreeInformer* informer;
};

} // namespace Quillmark
