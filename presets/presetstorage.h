// Where host banks keep their presets: a storage opened by bank identifier through the preset
// manager, with presets read into attribute trees and sub-banks of its own. The manager here
// keeps each bank as a folder of attribute files ("*.preset"), sub-banks as sub-folders.
#pragma once

#include "base/fattributes.h"

#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{

class IPresetStorage
{
public:
    virtual ~IPresetStorage() = default;
    virtual int32 countPresets() const = 0;
    /** Fills `preset` with preset `index`; false when it cannot be read. */
    virtual bool readPreset(int32 index, FAttributes& preset) const = 0;
    virtual int32 countSubBanks() const = 0;
    /** The storage of sub-bank `index`, or null. */
    virtual std::unique_ptr<IPresetStorage> openSubBank(int32 index) const = 0;
    virtual std::string getName() const = 0;
};

class PresetManager
{
public:
    /** Storages live in folders below `root`, one per bank identifier. */
    explicit PresetManager(std::string root) : root(std::move(root)) {}

    /** The storage of a bank; mode 2 creates it when missing. Null when it cannot be opened. */
    std::unique_ptr<IPresetStorage> open(const std::string& bankID, int32 mode) const;

private:
    std::string root;
};

} // namespace Quillmark
