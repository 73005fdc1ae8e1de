#pragma once

// Keys of the settings database that more than one subsystem reads or writes.
// One list, so that no key is reused by accident.
namespace DefaultsKeys {

// Sign-in and profile.
inline constexpr char Token[] = "token";
// Set instead of Token while the token is in the desktop's keyring: a stamp
// that changes with every token written there.
inline constexpr char TokenInKeyring[] = "tokenInKeyring";
inline constexpr char Domain[] = "domain";

// Preferences.
inline constexpr char Sound[] = "sound";
inline constexpr char UploadFileHotkey[] = "uploadFileHotkey";
inline constexpr char ScreenshotHotkey[] = "screenshotHotkey";
inline constexpr char MarkupHotkey[] = "markupHotkey";
inline constexpr char ClipboardHotKey[] = "clipboardHotKey"; // capital K, as stored
inline constexpr char RecordScreenHotKey[] = "recordScreenHotKey"; // capital K, as stored
inline constexpr char ShowDockIcon[] = "showDockIcon";
inline constexpr char HideDesktopIcons[] = "hideDesktopIcons";
inline constexpr char MultiFileUploadAsFolder[] = "multiFileUploadAsFolder";
inline constexpr char SelectedMenuSegment[] = "selectedMenuSegment";
inline constexpr char HasRunBefore[] = "hasRunBefore";

// Dashboard.
inline constexpr char IosPromoDismissed[] = "iosPromoDismissed";

// Markup.
inline constexpr char LineColor[] = "lineColor";

// Capture and recording options.
inline constexpr char ShowMouseClicks[] = "kShowMouseClicksKey";
inline constexpr char DefaultMicId[] = "kDefaultMicIdKey";
inline constexpr char DefaultCamId[] = "kDefaultCamIdKey";
inline constexpr char DefaultCamSize[] = "kDefaultCamSize";
inline constexpr char ShowWebcam[] = "kShowWebcamKey";
inline constexpr char StartDelay[] = "kStartDelayKey";
inline constexpr char DefaultFormat[] = "kTLDefaultFormatKey";
inline constexpr char CropRect[] = "TLCropRectKey";

} // namespace DefaultsKeys
