// Headless icon dialogs: a scripted answer stands for the user's (the list is
// built and its unsupported entries reported as the dialog would), and with
// none the reader takes the batch's pick and the writer the type it starts on.
#include "cli/headless.h"
#include "formats/ico.h"
#include "platform/ui_hooks.h"

#include <deque>
#include <memory>
#include <new>
#include <utility>

namespace {
std::deque<std::pair<int, int>> answers;
}  // namespace

void HDL_QueueIconAnswer(int choice, int box) { answers.emplace_back(choice, box); }

int UTL_ChooseIconEntry(const IconEntry* entries, int count, int* mask)
{
    if (answers.empty()) return ICO_BatchPick(entries, count);
    const std::pair<int, int> answer = answers.front();
    answers.pop_front();
    std::unique_ptr<char[][32]> lines(new (std::nothrow) char[count + 1][32]);
    const int n = lines ? ICO_ListLines(entries, count, lines.get()) : 0;
    if (answer.first < 0 || answer.first >= n) return -1;
    *mask = answer.second;
    return answer.first;
}

int UTL_ChooseIconType(int start, int* alpha)
{
    if (answers.empty()) return start;
    const std::pair<int, int> answer = answers.front();
    answers.pop_front();
    if (*alpha) *alpha = answer.second;
    return answer.first;
}
