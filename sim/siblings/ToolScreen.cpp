#include "sim/siblings/ToolScreen.h"

#include "sim/siblings/MachineReader.h"
#include "uefi/RuntimeServices.h"
#include "uefi/SimpleTextInput.h"
#include "uefi/SimpleTextOutput.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr std::uint64_t kLongestStay = 1'000'000'000; // milliseconds
constexpr UINTN kOrdinary = EFI_TEXT_ATTR(EFI_LIGHTGRAY, 0);
constexpr UINTN kText = EFI_TEXT_ATTR(EFI_LIGHTGRAY, 1); // on blue
constexpr UINTN kChosen = EFI_TEXT_ATTR(EFI_WHITE, 4);   // on red
constexpr UINTN kHeading = EFI_TEXT_ATTR(EFI_WHITE, 1);
constexpr std::size_t kRowsAroundLines = 5; // heading, foot and the blank rows between
constexpr std::size_t kFirstLine = 3;
constexpr std::size_t kMargin = 2;

std::u16string Widen(std::string_view text) {
    return {text.begin(), text.end()};
}

} // namespace

ToolLeaving ReadToolLeaving(const MachineDescription& machine, const std::string& section) {
    ToolLeaving leaving;
    const std::string after = PlaceOf(section, "leaveAfter");
    if (!machine.At(after).is_null()) {
        leaving.after = NumberAt(machine, after, 0, kLongestStay) * 1000;
    }
    const std::string leave = PlaceOf(section, "leave");
    const Json& way = machine.At(leave);
    if (!way.is_null() && way != "continue" && way != "reset") {
        throw MachineFileError(machine.file, leave, "expected \"continue\" or \"reset\"");
    }
    leaving.resets = way == "reset";
    return leaving;
}

void ToolPage::Add(std::string_view text) {
    lines.push_back(Widen(text));
}

void ToolPage::Add(std::string_view name, std::string_view value) {
    constexpr std::size_t kNameColumns = 20;
    std::u16string line = Widen(name);
    line.resize(std::max(line.size() + 1, kNameColumns), u' ');
    lines.push_back(line + Widen(value));
}

ToolScreen::ToolScreen(Platform& platform, const ToolLeaving& leaving)
    : platform_(platform), leaving_(leaving) {
    EFI_SYSTEM_TABLE* system = platform_.SystemTable();
    if (system->ConIn != nullptr) {
        system->ConIn->Reset(system->ConIn, FALSE);
    }
    EFI_BOOT_SERVICES* services = system->BootServices;
    if (leaving_.after.value_or(0) != 0 &&
        !EFI_ERROR(services->CreateEvent(EVT_TIMER, TPL_CALLBACK, nullptr, nullptr, &timer_))) {
        services->SetTimer(timer_, TimerRelative, *leaving_.after * 10);
    }
}

ToolScreen::~ToolScreen() {
    if (timer_ != nullptr) {
        platform_.SystemTable()->BootServices->CloseEvent(timer_);
    }
}

void ToolScreen::DrawLine(const std::u16string& text, std::size_t row, UINTN attribute,
                          std::size_t columns) {
    EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* out = platform_.SystemTable()->ConOut;
    const std::size_t room = columns > 2 * kMargin ? columns - 2 * kMargin : 0;
    const BootLocal<std::u16string> shown(text.substr(0, room));
    out->SetCursorPosition(out, kMargin, row);
    out->SetAttribute(out, attribute);
    out->OutputString(out, shown->data());
}

void ToolScreen::Draw() {
    EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* out = platform_.SystemTable()->ConOut;
    UINTN columns = 0;
    UINTN rows = 0;
    if (out == nullptr || EFI_ERROR(out->QueryMode(out, UINTN(out->Mode->Mode), &columns, &rows)) ||
        rows <= kRowsAroundLines) {
        return;
    }
    out->EnableCursor(out, FALSE);
    out->SetAttribute(out, kText);
    out->ClearScreen(out);
    DrawLine(page_->title, 1, kHeading, columns);
    // A page that is too long shows the part with the chosen line.
    const std::size_t room = rows - kRowsAroundLines;
    const std::size_t chosen = page_->chosen.value_or(0);
    const std::size_t first = chosen < room ? 0 : chosen + 1 - room;
    for (std::size_t i = first; i < std::min(page_->lines.size(), first + room); i++) {
        DrawLine(page_->lines[i], kFirstLine + i - first, page_->chosen == i ? kChosen : kText,
                 columns);
    }
    DrawLine(page_->foot, rows - 2, kHeading, columns);
}

ToolKey ToolScreen::WaitForKey() {
    EFI_SYSTEM_TABLE* system = platform_.SystemTable();
    if (leaving_.after == 0) {
        return ToolKey::Leave;
    }
    for (;;) {
        std::array<EFI_EVENT, 2> events{};
        UINTN count = 0;
        if (system->ConIn != nullptr) {
            events[count++] = system->ConIn->WaitForKey;
        }
        if (timer_ != nullptr) {
            events[count++] = timer_;
        }
        UINTN index = 0;
        if (count == 0 ||
            EFI_ERROR(system->BootServices->WaitForEvent(count, events.data(), &index)) ||
            events[index] == timer_) {
            return ToolKey::Leave;
        }
        EFI_INPUT_KEY key{};
        if (EFI_ERROR(system->ConIn->ReadKeyStroke(system->ConIn, &key))) {
            continue;
        }
        switch (key.ScanCode) {
        case SCAN_UP:
            return ToolKey::Up;
        case SCAN_DOWN:
            return ToolKey::Down;
        case SCAN_ESC:
            return ToolKey::Leave;
        default:
            if (key.UnicodeChar == u'\r') {
                return ToolKey::Enter;
            }
            break;
        }
    }
}

void ToolScreen::ShowUntilLeft() {
    Draw();
    while (WaitForKey() != ToolKey::Leave) {
    }
}

void ToolScreen::Leave() {
    EFI_SYSTEM_TABLE* system = platform_.SystemTable();
    if (system->ConOut != nullptr) {
        system->ConOut->SetAttribute(system->ConOut, kOrdinary);
        system->ConOut->ClearScreen(system->ConOut);
    }
    if (leaving_.resets) {
        system->RuntimeServices->ResetSystem(EfiResetWarm, EFI_SUCCESS, 0, nullptr);
    }
}

} // namespace sim
