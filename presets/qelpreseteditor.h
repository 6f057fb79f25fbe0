// The small editor of a preset file's meta information (form "QelPresetEditor"): text fields
// for instrument class, style, character, plug-in name and type with menus to pick them from,
// the file's path and class, and buttons to commit or reset. The editor owns its medium; the
// view binds to its values by name.
#pragma once

#include "base/values/umenuvalue.h"
#include "base/values/uvaluecontainer.h"
#include "presets/presetstore.h"
#include "presets/qelpresetmedium.h"

#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{
namespace Qel
{

class QelPresetEditor : public UValueContainer
{
    QEL_DECLARE_CLASS(QelPresetEditor, UValueContainer)
public:
    enum Tags
    {
        kClass = 100,
        kClassMenu,
        kStyle,
        kStyleMenu,
        kCharacter,
        kCharacterMenu,
        kPlugName,
        kPlugType,
        kPlugTypeMenu,
        kPath,
        kClassID,
        kCommitChanges,
        kReset,
    };

    /** The trees behind the menus are borrowed; null takes the program's singletons. */
    QelPresetEditor(const FXmlTree* types = nullptr, const FXmlTree* styles = nullptr,
                    const FXmlTree* characters = nullptr);
    ~QelPresetEditor() override;

    /** Edits `medium` (scanned already), or nothing with null. */
    void setMedium(std::unique_ptr<QelPresetMedium> medium);
    QelPresetMedium* getMedium() const { return medium.get(); }
    /** The text of the last failed commit, empty after a good one. */
    const std::string& getLastError() const { return lastError; }

    /** The rows of the plug-in type menu, the empty first one included. */
    static const std::vector<std::string>& plugTypeRows();

    void valueChanged(IValue* value) override;

private:
    void fillFields();
    void commit();
    std::string text(int32 tag) const;
    void setText(int32 tag, const std::string& value);

    std::unique_ptr<QelPresetMedium> medium;
    std::vector<std::string> classTexts; // by the tag of the instrument menu's entries
    bool filling = false;
    std::string lastError;
};

} // namespace Qel
} // namespace Quillmark
