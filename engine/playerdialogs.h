// What the player and its slot rows ask of the user: a file to open or to save, and a question
// with buttons. The window layer gives one implementation; without one, every question is
// answered by its first button and no file is chosen. Borrowed by the player.
#pragma once

#include <string>
#include <vector>

namespace Quillmark::MiniEngine
{

/** A kind of file a dialog offers. */
struct PlayerFileType
{
    std::string description;             // "MIDI file"
    std::vector<std::string> extensions; // without the dot
    std::string mimeType;                // may be empty
};

class PlayerDialogs
{
public:
    virtual ~PlayerDialogs() = default;
    /** A path, or empty when the user cancels. */
    virtual std::string askOpenFile(const std::string& title,
                                    const std::vector<PlayerFileType>& types) = 0;
    virtual std::string askSaveFile(const std::string& title,
                                    const std::vector<PlayerFileType>& types) = 0;
    /** The index of the button chosen. */
    virtual int ask(const std::string& text, const std::vector<std::string>& buttons) = 0;
};

} // namespace Quillmark::MiniEngine
