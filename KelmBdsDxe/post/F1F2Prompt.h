// The prompt that stops POST after an error until somebody has seen it.
#pragma once

namespace kelm {

// Whether F10 is not offered: by the platform, by a locked configuration or by the controller.
bool BdsIsForgelineKeyHidden();

// Shows the keys and waits for one: F1 and, in a full check, F2, F10 (unless it is hidden or the
// Forgeline tool cannot be entered) and F11. Where the platform wants that, 30 seconds without a
// key count as F1. Then the screen is cleared, and gDriver.boot.hotKey is what the key stands for;
// F1 leaves it alone.
void BdsErrorPrompt(bool fullCheck, bool forgelineHidden);

} // namespace kelm
