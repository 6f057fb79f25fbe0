// The information page of a plug-in class: its class and module facts as text values, and up
// to four trees (busses, parameters, note expressions, key switches) with copies of what the
// plug-in declared. Built once from a component and an optional controller wrapper; it asks the
// plug-in again only for note expression value texts. The window that shows it owns it.
#pragma once

#include "app/info/infonodes.h"
#include "app/info/treeinformers.h"
#include "base/values/uvaluecontainer.h"

namespace Quillmark
{

namespace Qel
{
class QelComponent;
class QelEditController;
} // namespace Qel

class InfoPage : public FController
{
    QEL_DECLARE_CLASS(InfoPage, FController)
public:
    /** Reads everything at once. `controller` may be null: then only the values and the bus
        tree exist. Both wrappers are borrowed; the controller must outlive the page, whose
        note expression rows keep asking it for texts. */
    InfoPage(Qel::QelComponent* component, Qel::QelEditController* controller);
    ~InfoPage() override;

    /** What a tree view needs: its title, its root and the informer of its columns. */
    struct TreeView
    {
        String title;
        FNode* root = nullptr;             // borrowed from the page
        GTreeInformer* informer = nullptr; // a new reference for the caller
    };
    /** The names of the views a page offers, in the order the page builds their trees. */
    static constexpr const char8* kTreeViewNames[] = {"busTree", "parameterTree", "noteChangeTree",
                                                      "keySwitchTree"};
    /** The view of that name; false for an unknown name and for a tree the plug-in gave
        nothing for. On success the caller releases `view.informer`. */
    bool getTreeView(const ConstString& name, TreeView& view) const;

    /** The class and module facts, in the order they were made. */
    const UValueContainer& getValues() const { return *values; }
    UValue* findValue(const ConstString& path) const override { return values->findValue(path); }

    // The roots, borrowed; each may be null.
    QelNodeFolder* getBusRoot() const { return busRoot; }
    QelNodeFolder* getParameterRoot() const { return parameterRoot; }
    QelNodeFolder* getNoteChangeRoot() const { return noteChangeRoot; }
    QelNodeFolder* getKeySwitchRoot() const { return keySwitchRoot; }
    int32 getEventBusCount() const { return eventBusCount; }

    /** The text the "editorClass" row shows for a class without a controller. */
    static constexpr const char8* kNoEditorText = "No Editor";

private:
    void readValues();
    void addText(const char8* name, const ConstString& text);
    void buildBusTree();
    void buildParameterTree();
    template <class Interface, class Count, class Read>
    QelNodeFolder* buildEventTree(const char8* rootName, Interface* entries, Count&& count,
                                  Read&& read);
    /** The channel count of event input `bus`, or -1 when the plug-in does not tell it. */
    int32 eventInputChannels(int32 bus);

    Qel::QelComponent* component;
    Qel::QelEditController* controller;
    UValueContainer* values;
    QelNodeFolder* parameterRoot = nullptr;
    QelNodeFolder* noteChangeRoot = nullptr;
    QelNodeFolder* keySwitchRoot = nullptr;
    QelNodeFolder* busRoot = nullptr;
    int32 eventBusCount = 0;
};

} // namespace Quillmark
