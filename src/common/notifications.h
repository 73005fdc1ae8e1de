#pragma once

// The literal names of every notification posted on NotificationCenter.
// Payload shapes are documented where each is posted.
namespace Notifications {

// Uploads. These carry their data as a QVariantMap in the notification's object.
inline constexpr char UploadProgressNotification[] = "UploadProgressNotification";
inline constexpr char UploadCompleteNotification[] = "UploadCompleteNotification";
inline constexpr char BatchUploadProgressNotification[] = "BatchUploadProgressNotification";
inline constexpr char BatchUploadCompleteNotification[] = "BatchUploadCompleteNotification";
inline constexpr char MultipartUploadProgressNotification[] = "MultipartUploadProgressNotification";
inline constexpr char MultipartUploadPartCompleteNotification[] = "MultipartUploadPartCompleteNotification";
inline constexpr char MultipartUploadFailedNotification[] = "MultipartUploadFailedNotification";
inline constexpr char MultipartUploadCompletedNotification[] = "MultipartUploadCompletedNotification";

// Errors and sign-in.
inline constexpr char UserVisibleErrorNotification[] = "UserVisibleErrorNotification";
inline constexpr char AuthTokenInvalid[] = "AuthTokenInvalid";
inline constexpr char UserLoggedIn[] = "UserLoggedIn";
inline constexpr char ShortcutUpdatedNotification[] = "ShortcutUpdatedNotification";

// Capture and recording. These use the user info where they carry data.
inline constexpr char ScreenGrabberRecordingDidStartNotification[] = "ScreenGrabberRecordingDidStartNotification";
inline constexpr char ScreenGrabberRecordingDidStopNotification[] = "ScreenGrabberRecordingDidStopNotification";
inline constexpr char VideoProcessingBeganNotification[] = "VideoProcessingBeganNotification";
inline constexpr char VideoProcessingEndedNotification[] = "VideoProcessingEndedNotification";
inline constexpr char VideoProcessingMessageKey[] = "VideoProcessingMessageKey";
inline constexpr char TLCaptureCropRectChanged[] = "TLCaptureCropRectChanged";
inline constexpr char TLCaptureScreenWillChange[] = "TLCaptureScreenWillChange";
inline constexpr char TLCaptureScreenChanged[] = "TLCaptureScreenChanged";
inline constexpr char TLVideoControllerBeginRecordingNotification[] = "TLVideoControllerBeginRecordingNotification";
inline constexpr char TLVideoControllerEndCaptureNotification[] = "TLVideoControllerEndCaptureNotification";
inline constexpr char TLToggleWebcamNotification[] = "TLToggleWebcamNotification";
inline constexpr char TLWebcamChangedNotification[] = "TLWebcamChangedNotification";
inline constexpr char TLWebcamSizeChangedNotification[] = "TLWebcamSizeChangedNotification";

// Post-processing.
inline constexpr char TLNotificationGIFCreationBegan[] = "TLNotificationGIFCreationBegan";
inline constexpr char TLNotificationGIFCreationProgress[] = "TLNotificationGIFCreationProgress";
inline constexpr char TLNotificationGIFCreationComplete[] = "TLNotificationGIFCreationComplete";

// Dashboard and markup.
inline constexpr char PopoverProfileDidChangeNotification[] = "PopoverProfileDidChangeNotification";
inline constexpr char PopoverCancelUploadNotification[] = "PopoverCancelUploadNotification";
inline constexpr char PopoverRetryUploadNotification[] = "PopoverRetryUploadNotification";
inline constexpr char ColorPickerColorDidChangeNotification[] = "ColorPickerColorDidChangeNotification";
inline constexpr char ShapeTextEditorViewRequestsCommit[] = "ShapeTextEditorViewRequestsCommit";

} // namespace Notifications
