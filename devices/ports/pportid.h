// The unique name of a port: "I" or "O", the name of its device and its own name, joined by
// bars, as in "I|QelBus|Input-L". Settings and routing keep ports by this text; it is compared
// exactly.
#pragma once

#include "base/fstring.h"

#include <string>

namespace Quillmark
{

class PPortID
{
public:
    PPortID() = default;
    /** Builds the text; the result is invalid when either name is empty or holds a bar. */
    PPortID(bool input, const ConstString& deviceName, const ConstString& portName);
    /** Takes a stored text as it stands; isValid tells whether it has the three parts. */
    static PPortID fromText(const ConstString& text);

    bool isValid() const;
    bool isInput() const { return isValid() && text[0] == 'I'; }
    /** The middle part, or empty for an invalid text. */
    std::string getDeviceName() const;
    /** The last part, or empty for an invalid text. */
    std::string getPortName() const;

    const std::string& getText() const { return text; }
    bool operator==(const PPortID& other) const { return text == other.text; }
    bool operator!=(const PPortID& other) const { return text != other.text; }

private:
    std::string text;
};

} // namespace Quillmark
