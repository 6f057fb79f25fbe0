#include "ui/plugininfowindow.h"

#include "app/info/infopage.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"
#include "ui/informermodel.h"

#include <QHeaderView>
#include <QTabWidget>
#include <QTreeView>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace Quillmark
{

PluginInfoWindow::PluginInfoWindow(Qel::PlugProvider* provider) : provider(provider)
{
    setAttribute(Qt::WA_DeleteOnClose);
    resize(980, 640);
}

PluginInfoWindow* PluginInfoWindow::create(FComponentRegistry& registry,
                                           const FComponentDescription& description,
                                           const SkinLoader& skins, QString* error)
{
    auto* provider = new Qel::PlugProvider(&registry, description.getCid(), true);
    if (!provider->createPlugIn())
    {
        if (error)
            *error = "The class \"" + QString::fromStdString(description.getName().toUtf8()) +
                     "\" could not be created";
        provider->release();
        return nullptr;
    }
    auto* window = new PluginInfoWindow(provider);
    window->setWindowTitle("Plug-In Information: " +
                           QString::fromStdString(description.getName().toUtf8()));
    if (!window->build(skins, error))
    {
        delete window;
        return nullptr;
    }
    return window;
}

bool PluginInfoWindow::build(const SkinLoader& skins, QString* error)
{
    QWidget* form = skins.load("PluginInformation", this, error);
    if (!form)
        return false;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(form);
    page = new InfoPage(provider->getComponentWrapper(), provider->getControllerWrapper());

    if (auto* facts = form->findChild<QTreeWidget*>("facts"))
    {
        facts->setHeaderLabels({"Name", "Value"});
        const UValueContainer& values = page->getValues();
        for (int32 index = 0; index < values.countValues(); ++index)
        {
            UValue* value = values.valueAt(index);
            if (!value)
                continue;
            String text;
            value->getText(text);
            auto* item = new QTreeWidgetItem(facts);
            item->setText(0, QString::fromStdString(values.nameAt(index).toUtf8()));
            item->setText(1, QString::fromStdString(text.toUtf8()));
        }
        facts->resizeColumnToContents(0);
    }
    auto* tabs = form->findChild<QTabWidget*>("trees");
    for (const char8* name : InfoPage::kTreeViewNames)
    {
        auto* view = form->findChild<QTreeView*>(name);
        InfoPage::TreeView tree;
        if (!view || !page->getTreeView(name, tree))
        {
            // A tree the plug-in gave nothing for is not shown.
            if (view && tabs)
                tabs->removeTab(tabs->indexOf(view));
            continue;
        }
        auto* model = new InformerModel(tree.root, tree.informer, view);
        tree.informer->release();
        view->setModel(model);
        view->expandAll();
        view->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
        if (tabs)
            tabs->setTabText(tabs->indexOf(view), QString::fromStdString(tree.title.toUtf8()));
    }
    return true;
}

PluginInfoWindow::~PluginInfoWindow()
{
    // The views let go of the trees before the page that holds them goes.
    for (QTreeView* view : findChildren<QTreeView*>())
        view->setModel(nullptr);
    if (page)
        page->release();
    provider->destroyPlugIn();
    provider->release();
}

} // namespace Quillmark
