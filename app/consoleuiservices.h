// The user interface services of a run without windows: boot text and messages go to a text
// stream (stderr), questions take an answer given up front or their default button. Owned by
// whoever runs the application, usually the command-line job.
#pragma once

#include "app/uiservices.h"

#include <iosfwd>
#include <map>

namespace Quillmark
{

class ConsoleUIServices : public IUIServices
{
public:
    enum class BootText
    {
        kLines,        // each boot text on a line of its own
        kProgressLine, // one line that rewrites itself, for a terminal
        kSilent,
    };

    explicit ConsoleUIServices(std::ostream& err, BootText bootText = BootText::kLines);
    ~ConsoleUIServices() override;

    /** The answer for the question with this id, by button text. When the question comes
        without a button of that text, its default stands. */
    void setAnswer(const std::string& questionId, const std::string& buttonText);
    /** The answer for the folder, file or text request with this id. A request without an
        answer given is cancelled, with a line on the error stream that names it. */
    void setTextAnswer(const std::string& requestId, const std::string& text);
    /** The modifier keys to report, e.g. 7 to ask the safe-start question. */
    void setModifierKeys(int keys) { modifierKeys = keys; }
    /** Written before every message. */
    void setMessagePrefix(const std::string& prefix) { messagePrefix = prefix; }

    void showSplash() override {}
    void closeSplash() override;
    bool isSplashOpen() const override { return false; }
    bool hasPendingInput() const override { return false; }
    void setBootText(const std::string& text) override;
    void setMenuBar(const std::vector<Menu>& menus) override { menuBar = menus; }
    void showMessage(const std::string& text) override;
    int ask(const Question& question) override;
    bool askText(const TextRequest& request, std::string& answer) override;
    int getModifierKeys() const override { return modifierKeys; }

    const std::vector<Menu>& getMenuBar() const { return menuBar; }

private:
    void clearProgressLine();

    std::ostream& err;
    BootText bootText;
    bool progressShown = false;
    int modifierKeys = 0;
    std::string messagePrefix = "Qel3PluginTestHost: ";
    std::map<std::string, std::string> answers;
    std::map<std::string, std::string> textAnswers;
    std::vector<Menu> menuBar;
};

} // namespace Quillmark
