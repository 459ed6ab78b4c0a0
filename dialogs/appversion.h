#pragma once
// The application's version, shown by the splash and the about box.

inline constexpr const char* kAppVersion = "1.2.3";
