#include "presets/qelpreseteditor.h"

#include "base/values/uintvalues.h"
#include "base/values/ustringvalue.h"

namespace Quillmark
{
namespace Qel
{

namespace
{

constexpr const char* kEmptyClassID = "00000000000000000000000000000000";

struct FieldBinding
{
    int32 tag;
    const char* attribute;
};

// Which attribute of the medium each text field shows.
const FieldBinding kBindings[] = {
    {QelPresetEditor::kClass, "MusicalInstrument"},    {QelPresetEditor::kStyle, "MusicalStyle"},
    {QelPresetEditor::kCharacter, "MusicalCharacter"}, {QelPresetEditor::kPlugName, "PlugInName"},
    {QelPresetEditor::kPlugType, "PlugInCategory"},
};

void addTreeEntries(UMenuEntry* parent, const FXmlTreeNode& node)
{
    for (const auto& child : node.children)
    {
        UMenuEntry* entry = parent->addEntry(child->name.c_str());
        addTreeEntries(entry, *child);
    }
}

} // namespace

const std::vector<std::string>& QelPresetEditor::plugTypeRows()
{
    // "Fx|Reverb" comes before "Fx|Restoration" in the order users know from other hosts.
    static const std::vector<std::string> rows = {
        "",
        "Fx|Analyzer",
        "Fx|Delay",
        "Fx|Distortion",
        "Fx|Dynamics",
        "Fx|EQ",
        "Fx|Filter",
        "Fx|Generator",
        "Fx|Mastering",
        "Fx|Modulation",
        "Fx|Pitch Shift",
        "Fx|Reverb",
        "Fx|Restoration",
        "Fx|Spatial",
        "Fx|Surround",
        "Fx|Tools",
        "Instrument",
        "Instrument|Drum",
        "Instrument|Synth|Sampler",
        "Instrument|Sampler",
        "Instrument|Synth",
        "Instrument|External",
        "Spatial",
        "Spatial|Fx",
    };
    return rows;
}

QelPresetEditor::QelPresetEditor(const FXmlTree* types, const FXmlTree* styles,
                                 const FXmlTree* characters)
    : UValueContainer(nullptr)
{
    setHandler(this);
    if (!types)
        types = FCategoryTree::instance();
    if (!styles)
        styles = FStyleTree::instance();
    if (!characters)
        characters = FCharacterTree::instance();

    adopt(new UStringValue("class", kClass));
    UMenuValue* classMenu = adopt(new UMenuValue("classMenu", kClassMenu));
    adopt(new UStringValue("style", kStyle));
    UMenuValue* styleMenu = adopt(new UMenuValue("styleMenu", kStyleMenu));
    adopt(new UStringValue("character", kCharacter));
    UMenuValue* characterMenu = adopt(new UMenuValue("characterMenu", kCharacterMenu));
    adopt(new UStringValue("plugname", kPlugName));
    adopt(new UStringValue("plugtype", kPlugType));
    UMenuValue* plugTypeMenu = adopt(new UMenuValue("plugtypeMenu", kPlugTypeMenu));
    adopt(new UStringValue("path", kPath));
    adopt(new UStringValue("classID", kClassID));
    adopt(new UIntValue("commitChanges", kCommitChanges, 0, 1, 0));
    adopt(new UIntValue("reset", kReset, 0, 1, 0));

    // The instrument menu: categories with their types; a category without types picks "Other".
    if (types)
        for (const auto& category : types->getRoot().children)
        {
            UMenuEntry* sub = classMenu->getRoot()->addEntry(category->name.c_str());
            if (category->children.empty())
            {
                sub->addEntry("Other", int32(classTexts.size()));
                classTexts.push_back(category->name + "|Other");
            }
            for (const auto& type : category->children)
            {
                sub->addEntry(type->name.c_str(), int32(classTexts.size()));
                classTexts.push_back(category->name + "|" + type->name);
            }
        }
    if (styles)
        addTreeEntries(styleMenu->getRoot(), styles->getRoot());
    if (characters)
        addTreeEntries(characterMenu->getRoot(), characters->getRoot());
    for (const std::string& row : plugTypeRows())
        plugTypeMenu->getRoot()->addEntry(row.c_str());
    for (UMenuValue* menu : {classMenu, styleMenu, characterMenu, plugTypeMenu})
        menu->entriesChanged();
    fillFields();
}

QelPresetEditor::~QelPresetEditor()
{
    setHandler(nullptr);
}

std::string QelPresetEditor::text(int32 tag) const
{
    auto* value = FCast<UStringValue>(findValueByTag(tag));
    return value ? value->getValue().toUtf8() : std::string();
}

void QelPresetEditor::setText(int32 tag, const std::string& value)
{
    if (auto* field = FCast<UStringValue>(findValueByTag(tag)))
        field->setValue(value.c_str());
}

void QelPresetEditor::setMedium(std::unique_ptr<QelPresetMedium> newMedium)
{
    medium = std::move(newMedium);
    fillFields();
}

void QelPresetEditor::fillFields()
{
    filling = true;
    const MediaAttributeList* attributes = medium ? &medium->getAttributes() : nullptr;
    for (const FieldBinding& binding : kBindings)
        setText(binding.tag, attributes ? attributes->getString(binding.attribute) : "");
    setText(kPath, medium ? medium->getPath() : "");
    std::string classID = attributes ? attributes->getString("QEL3UniqueID") : "";
    setText(kClassID, classID.empty() ? kEmptyClassID : classID);
    for (int32 tag : {int32(kCommitChanges), int32(kReset)})
        if (UValue* button = findValueByTag(tag))
            button->setEnabled(medium != nullptr);
    filling = false;
}

void QelPresetEditor::commit()
{
    lastError.clear();
    if (!medium)
        return;
    MediaAttributeList& attributes = medium->getAttributes();
    for (const FieldBinding& binding : kBindings)
    {
        const auto* old = attributes.find(binding.attribute);
        attributes.setString(binding.attribute, text(binding.tag), old ? old->flags : 0);
    }
    if (!medium->commit(lastError) && lastError.empty())
        lastError = "the file could not be written";
}

void QelPresetEditor::valueChanged(IValue* value)
{
    if (filling || !value)
        return;
    // Every value of this container is a UValue, so the handler may see it as one.
    UValue* changed = static_cast<UValue*>(static_cast<IValue2*>(value));
    auto pickedTitle = [changed]() -> std::string
    {
        auto* menu = FCast<UMenuValue>(changed);
        UMenuEntry* entry = menu ? menu->getSelectedItem() : nullptr;
        return entry ? entry->getTitle().toUtf8() : std::string();
    };
    switch (value->getTag())
    {
    case kClassMenu:
    {
        auto* menu = FCast<UMenuValue>(changed);
        UMenuEntry* entry = menu ? menu->getSelectedItem() : nullptr;
        if (entry && entry->getTag() >= 0 && size_t(entry->getTag()) < classTexts.size())
            setText(kClass, classTexts[size_t(entry->getTag())]);
        break;
    }
    case kStyleMenu:
        setText(kStyle, pickedTitle());
        break;
    case kCharacterMenu:
        setText(kCharacter, pickedTitle());
        break;
    case kPlugTypeMenu:
        setText(kPlugType, pickedTitle());
        break;
    case kPath:
    {
        std::string path = text(kPath);
        if (medium && path == medium->getPath())
            break;
        std::unique_ptr<QelPresetMedium> next;
        if (!path.empty())
        {
            next = std::make_unique<QelPresetMedium>(path);
            if (!next->scan(nullptr))
                next.reset();
        }
        setMedium(std::move(next));
        break;
    }
    case kCommitChanges:
    case kReset:
    {
        auto* button = FCast<UIntValue>(changed);
        if (!button || button->getValue() != 1)
            break;
        if (value->getTag() == kCommitChanges)
            commit();
        else
            fillFields();
        button->setValue(0);
        break;
    }
    default:
        break;
    }
}

} // namespace Qel
} // namespace Quillmark
