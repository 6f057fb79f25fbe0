// What the preset editor window needs of the plug-in it serves: its state written to a preset
// file and read back from one. The plug-in edited on its own implements it now; a rack slot will
// later. Implementers own the plug-in; the window only borrows this.
#pragma once

#include <string>

namespace Quillmark
{

class IPresetTarget
{
public:
    virtual ~IPresetTarget() = default;
    /** The class name shown to the user. */
    virtual std::string getPresetTargetName() const = 0;
    /** Writes the plug-in's state to a preset file; false with a reason in `error`. */
    virtual bool savePreset(const std::string& path, std::string& error) = 0;
    /** Restores a preset file into the plug-in; false with a reason in `error`, and then the
        plug-in keeps what it had unless it took part of the state before refusing. */
    virtual bool loadPreset(const std::string& path, std::string& error) = 0;
};

} // namespace Quillmark
