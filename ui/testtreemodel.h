// The conformity tree as a Qt item model: one row per node, its name with a check box for the
// enabled flag, and its status as the last run left it. The window tells it of each node a run
// finishes. Owned by the test window; it must be reset before the tree goes.
#pragma once

#include <QAbstractItemModel>

namespace Quillmark
{

class FTestNode;

class TestTreeModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    enum Column
    {
        kNameColumn,
        kStatusColumn,
        kColumnCount,
    };

    explicit TestTreeModel(QObject* parent = nullptr);
    ~TestTreeModel() override;

    /** Shows the tree below `root` (borrowed); null shows nothing. */
    void setRoot(FTestNode* root);
    FTestNode* nodeOf(const QModelIndex& index) const;
    QModelIndex indexOf(FTestNode* node) const;

    /** Redraws the row of `node`, after a run changed it. */
    void nodeChanged(FTestNode* node);
    /** Redraws every row. */
    void refreshAll();

    /** The text of a node's status: "", "Passed", "Failed", ... */
    static QString statusText(const FTestNode& node);

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    FTestNode* root = nullptr;
};

} // namespace Quillmark
