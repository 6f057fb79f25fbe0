// The host's own preset store: banks of presets (attribute trees) that form one tree with their
// sub-banks, the choice control's rule for a plain menu or a browser, and the category trees
// (instrument types, characters, styles) read from the resource lists shipped with the program.
// A bank owns its presets and, as a node, its sub-banks; the trees are singletons.
#pragma once

#include "base/fattributes.h"
#include "base/fnode.h"
#include "presets/presetstorage.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{

class PPresetBank : public FNode
{
public:
    explicit PPresetBank(const ConstString& name = ConstString());
    ~PPresetBank() override;

    int32 getPresetCount() const { return int32(presets.size()); }
    /** Borrowed, or null. */
    FAttributes* getPreset(int32 index) const;
    /** Takes a reference of its own. */
    bool addPreset(FAttributes* preset);
    bool removePreset(FAttributes* preset);
    /** Replaces the preset at `index` by a copy of `preset`. */
    bool storePreset(int32 index, const FAttributes& preset);
    /** Sets "Name" of the preset at `index`. */
    bool renamePreset(int32 index, const ConstString& newName);
    /** The index of the first preset whose serialised bytes equal those of `attributes`; -1
        when there is none. Key order counts. */
    int32 findPreset(const FAttributes& attributes) const;
    /** Removes each preset of the list that is in the bank; the AND of the results, false for an
        empty list. */
    bool removePresets(const std::vector<FAttributes*>& list);

    /** "PresetBankName"; reading falls back on the older "IDString". */
    void storeAttributes(FAttributes& attributes) const;
    bool restoreAttributes(const FAttributes& attributes);

    QEL_DECLARE_CLASS(PPresetBank, FNode)

protected:
    String bankName;

private:
    std::vector<FAttributes*> presets;
};

/** A bank backed by the preset storage: remembers the storage's type and the bank's id. */
class PHostPresets : public PPresetBank
{
public:
    static constexpr int32 kVersion = 100;

    explicit PHostPresets(const ConstString& name = ConstString()) : PPresetBank(name) {}

    /** Binary form: version, name, storage type, bank identifier. */
    bool write(IBStream* stream) const;
    /** Refuses versions above 100. */
    bool read(IBStream* stream);
    /** "Bank Name", "Storage Type", "Bank ID". */
    void storeAttributes(FAttributes& attributes) const;
    bool restoreAttributes(const FAttributes& attributes);

    /** Opens the storage of `bankID` through `manager` (mode 2), reads its presets into the
        bank and makes a child PHostPresets for each sub-bank, with this bank's storage type and
        identifier, walking on into them. False when the storage cannot be opened; the bank
        then stays empty. */
    bool openStorage(const PresetManager& manager);
    /** Fills `target` with preset `index` of the storage; false without storage. */
    bool loadPreset(FAttributes& target, int32 index) const;

    int32 storageType = -1;
    String bankID;

    QEL_DECLARE_CLASS(PHostPresets, PPresetBank)

private:
    void fillFrom(const IPresetStorage& source);

    std::shared_ptr<IPresetStorage> storage;
};

/** The preset selection control's decisions. */
class PPresetChoice
{
public:
    static constexpr int32 kMaxMenuPresets = 30;
    enum class Form
    {
        kMenu,
        kBrowser, // "PopupPresetBrowser"
    };
    /** A browser for more than one bank, any sub-bank or more than 30 presets; a menu else. */
    static Form chooseForm(const PPresetBank& top, int32 bankCount = 1);
    /** The menu rows in bank order, the current one marked with "* ". */
    static std::vector<std::string> menuRows(const PPresetBank& top, int32 current);
    /** The presets of the bank and its sub-banks whose "Name" holds `filter`. */
    static std::vector<FAttributes*> filter(const PPresetBank& top, const std::string& text);
};

/** A node of a resource tree: its class, its text and its integer fields. */
struct FXmlTreeNode
{
    std::string className;
    std::string name;
    std::map<std::string, int64> fields;
    std::vector<std::unique_ptr<FXmlTreeNode>> children;

    /** The field's value, or `fallback`. */
    int64 field(const std::string& key, int64 fallback = 0) const;
    const FXmlTreeNode* findChild(const std::string& childName) const;
};

/** A tree read from a resource list. A missing or damaged resource leaves the root alone. */
class FXmlTree : public CmObject
{
public:
    /** Reads "<NAME>.XML" (the name in capitals) from `folder`, or from the program's resource
        folder when that is empty. */
    explicit FXmlTree(const std::string& name, const std::string& folder = {});

    const FXmlTreeNode& getRoot() const { return root; }

    struct MenuItem
    {
        std::string title;
        std::vector<MenuItem> subMenu;
    };
    using Translate = std::function<std::string(const std::string&)>;
    /** Items for the children of `node`: a leaf, or any child when `leavesOnly` is false, is an
        item; a child with children becomes a sub-menu. Titles go through `translate`. */
    static void fillMenu(std::vector<MenuItem>& menu, const FXmlTreeNode& node, bool leavesOnly,
                         const Translate& translate = {});

    /** Where the program keeps its resource lists. */
    static std::string resourceFolder();

    QEL_DECLARE_CLASS(FXmlTree, CmObject)

private:
    FXmlTreeNode root;
};

class FCategoryTree : public FXmlTree
{
public:
    FCategoryTree() : FXmlTree("typelist") {}
    static FCategoryTree* instance();
    QEL_DECLARE_CLASS(FCategoryTree, FXmlTree)
};

class FCharacterTree : public FXmlTree
{
public:
    FCharacterTree() : FXmlTree("characterlist") {}
    static FCharacterTree* instance();
    QEL_DECLARE_CLASS(FCharacterTree, FXmlTree)
};

class FStyleTree : public FXmlTree
{
public:
    FStyleTree() : FXmlTree("stylelist") {}
    static FStyleTree* instance();
    QEL_DECLARE_CLASS(FStyleTree, FXmlTree)
};

} // namespace Quillmark
