#include "devices/ports/pportid.h"

namespace Quillmark
{

namespace
{

bool isPart(const std::string& part)
{
    return !part.empty() && part.find('|') == std::string::npos;
}

} // namespace

PPortID::PPortID(bool input, const ConstString& deviceName, const ConstString& portName)
{
    const std::string device = deviceName.toUtf8();
    const std::string port = portName.toUtf8();
    if (isPart(device) && isPart(port))
        text = std::string(input ? "I" : "O") + "|" + device + "|" + port;
}

PPortID PPortID::fromText(const ConstString& text)
{
    PPortID id;
    id.text = text.toUtf8();
    return id;
}

bool PPortID::isValid() const
{
    if (text.size() < 5 || (text[0] != 'I' && text[0] != 'O') || text[1] != '|')
        return false;
    const size_t second = text.find('|', 2);
    if (second == std::string::npos)
        return false;
    return isPart(text.substr(2, second - 2)) && isPart(text.substr(second + 1));
}

std::string PPortID::getDeviceName() const
{
    if (!isValid())
        return {};
    const size_t second = text.find('|', 2);
    return text.substr(2, second - 2);
}

std::string PPortID::getPortName() const
{
    if (!isValid())
        return {};
    return text.substr(text.find('|', 2) + 1);
}

} // namespace Quillmark
