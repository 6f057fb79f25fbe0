// What the application needs from a user interface: the splash and its boot text, the menu bar
// model, message boxes, questions and the modifier keys at start-up. The application borrows one
// implementation; the console one serves command-line runs, a windowed one serves the desktop.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Quillmark
{

/** One entry of a menu: a command item, a separator or a submenu. */
struct MenuItem
{
    std::string title;
    std::string category; // the command run on selection, empty for plain items
    std::string name;
    int tag = 0;
    bool separator = false;
    bool enabled = true;
    /** The key assignment in the portable text form ("Ctrl+W"), empty for none. */
    std::string shortcut;
    std::vector<MenuItem> children; // a submenu when not empty

    static MenuItem makeSeparator()
    {
        MenuItem item;
        item.separator = true;
        return item;
    }
};

struct Menu
{
    std::string title;
    bool isHelpMenu = false;
    std::vector<MenuItem> items;
};

/** A question with buttons; the answer is the index of the button chosen. */
struct Question
{
    std::string id;   // stable key, so that an answer can be given before it is asked
    std::string text; // as shown to the user
    std::vector<std::string> buttons;
    int defaultButton = 0;
};

/** A request for a folder, a file or a line of text. The answer comes back as text; a cancel
    answers false. */
struct TextRequest
{
    enum Kind
    {
        kFolder,
        kOpenFile,
        kSaveFile,
        kText,
    };
    Kind kind = kText;
    std::string id;        // stable key, so that an answer can be given before it is asked
    std::string title;     // the dialog's title or prompt, as shown to the user
    std::string initial;   // the folder to start from, or the text to start with
    std::string extension; // files: the one extension offered, without the dot
    int maxLength = 0;     // text: the longest answer taken; 0 for any
};

class IUIServices
{
public:
    virtual ~IUIServices() = default;

    virtual void showSplash() = 0;
    virtual void closeSplash() = 0;
    virtual bool isSplashOpen() const = 0;
    /** True when a key or mouse event is waiting; it dismisses the splash. */
    virtual bool hasPendingInput() const = 0;
    /** A progress line in the splash. */
    virtual void setBootText(const std::string& text) = 0;

    virtual void setMenuBar(const std::vector<Menu>& menus) = 0;

    virtual void showMessage(const std::string& text) = 0;
    /** Answers the index of a button of `question`. */
    virtual int ask(const Question& question) = 0;
    /** Asks for a folder, a file name or a text; false when the user cancels. A user interface
        without such dialogs cancels every request. */
    virtual bool askText(const TextRequest& request, std::string& answer);


    /** Modifier keys held now: bit value 1 Ctrl, 2 Shift, 4 Alt. */
    virtual int getModifierKeys() const = 0;

    /** Opens the main window once the application is open; nothing without windows. */
    virtual void openMainWindow() {}
    /** Serves the host's main loop until `done` answers true: the loop itself without
        windows, the toolkit's event loop driving it with them. */
    virtual void runMainLoop(const std::function<bool()>& done);
};

} // namespace Quillmark
