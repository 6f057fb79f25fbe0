#include "app/consoleuiservices.h"

#include <ostream>

namespace Quillmark
{

ConsoleUIServices::ConsoleUIServices(std::ostream& err, BootText bootText)
    : err(err), bootText(bootText)
{
}

ConsoleUIServices::~ConsoleUIServices()
{
    clearProgressLine();
}

void ConsoleUIServices::setAnswer(const std::string& questionId, const std::string& buttonText)
{
    answers[questionId] = buttonText;
}

void ConsoleUIServices::setTextAnswer(const std::string& requestId, const std::string& text)
{
    textAnswers[requestId] = text;
}

void ConsoleUIServices::closeSplash()
{
    // The splash of a console run is its progress line.
    clearProgressLine();
}

void ConsoleUIServices::clearProgressLine()
{
    if (!progressShown)
        return;
    err << "\r\033[K";
    err.flush();
    progressShown = false;
}

void ConsoleUIServices::setBootText(const std::string& text)
{
    switch (bootText)
    {
    case BootText::kSilent:
        break;
    case BootText::kLines:
        if (!text.empty())
            err << text << "\n";
        break;
    case BootText::kProgressLine:
        err << "\r\033[K";
        if (!text.empty())
            err << text.substr(0, 100);
        err.flush();
        progressShown = !text.empty();
        break;
    }
}

void ConsoleUIServices::showMessage(const std::string& text)
{
    clearProgressLine();
    err << messagePrefix << text << "\n";
}

int ConsoleUIServices::ask(const Question& question)
{
    auto given = answers.find(question.id);
    if (given != answers.end())
    {
        for (size_t i = 0; i < question.buttons.size(); ++i)
            if (question.buttons[i] == given->second)
                return int(i);
    }
    return question.defaultButton;
}

bool ConsoleUIServices::askText(const TextRequest& request, std::string& answer)
{
    auto given = textAnswers.find(request.id);
    if (given == textAnswers.end())
    {
        // Nobody is there to type an answer: the request counts as cancelled.
        clearProgressLine();
        err << messagePrefix << "no answer given to \"" << request.title << "\"\n";
        return false;
    }
    answer = given->second;
    if (request.maxLength > 0 && int(answer.size()) > request.maxLength)
        answer.resize(size_t(request.maxLength));
    return true;
}

} // namespace Quillmark
