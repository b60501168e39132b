#pragma once

/// Each prints what its benchmarks measured, and whether that is within its limits.
namespace velmo::bench {

void checkStreamLimits();
void checkTapLimits();
void checkCaptureLimits();
void checkImageLimits();
void checkDrawLimits();
void checkOverlayLimits();
void checkPanelLimits();
void checkMarkdownLimits();
void checkSoundLimits();
void checkShellLimits();

} // namespace velmo::bench
