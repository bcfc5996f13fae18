#pragma once
// The key catalogue of RZConfig as tables, so that no caller spells a group or key name and no
// accessor is written by hand when all it does is read or write one value. RZConfig.h expands the
// tables into declarations, RZConfigKeys.cpp into definitions. Accessors with logic of their own
// (bit fields, registry values, directories, the special cases among the application settings)
// are written out in RZConfig.h and RZConfigKeys.cpp.

#include <type_traits>

// Parameter type of a setter: class types by const reference, the rest by value.
template <typename T> using RZConfigArg = std::conditional_t<std::is_class<T>::value, const T&, T>;

// clang-format off

// Application settings in "FConfig.ini": X(type, getter, setter, group, key, default). The getter
// reads GetAppValue(group, key, default) and converts it to the type; the setter writes with
// SetAppValue. A default of QVariant() converts to false, 0 or an empty text.
#define RZCONFIG_APP_KEYS(X)                                                                                 \
    X(bool, hasShowAiMusicDownloadToast, setShowAiMusicDownloadToast, "AIMusic", "DownloadToast", false)     \
    X(bool, canShowAiMusicCancelToast, setCanShowAiMusicCancelToast, "AIMusic", "showCancelToast", true)     \
    X(bool, IsAppBeatDetectied, SetAppBeatDetectied, "APP_DETECTION", "APP_DETECTION", QVariant())           \
    X(bool, getSTTAndTTSCloseConfirm, setSTTAndTTSCloseConfirm, "AccountBalanceCloseCheck",                  \
      "Text-to-Speech and Speech-to-Text", true)                                                             \
    X(QString, GetAccountNickName, SetAccountNickName, "AccountInfo", "APP_NICKNAME", QVariant())            \
    X(bool, getCurvedToUniformOverrideShowNext, setCurvedToUniformOverrideShowNext, "AdjustSpeed",           \
      "CurvedToUniform", true)                                                                               \
    X(bool, getMultiEditSpeedShowNext, setMultiEditSpeedShowNext, "AdjustSpeed", "MultEdit", true)           \
    X(bool, getSegmentEditSpeedShowNext, setSegmentEditSpeedShowNext, "AdjustSpeed", "SegmentEdit", true)    \
    X(bool, getSpeedConflictShowNext, setSpeedConflictShowNext, "AdjustSpeed", "SpeedConflict", true)        \
    X(bool, getTrimConflictShowNext, setTrimConflictShowNext, "AdjustSpeed", "TrimConflict", true)           \
    X(bool, getUniformToCurvedOverrideShowNext, setUniformToCurvedOverrideShowNext, "AdjustSpeed",           \
      "UniformToCurved", true)                                                                               \
    X(int, getAiTextClipperTestMode, setAiTextClipperTestMode, "AiTextClipper", "TestMode", 0)               \
    X(QString, GetBeforeMigrationTotalPath, SetBeforeMigrationTotalPath, "CacheFileManager",                 \
      "beforeMigrationPath", QVariant())                                                                     \
    X(bool, IsChromaKeyGuideTipsNoNeedShow, SetChromaKeyGuideTipsNoNeedShow, "ChromaKey",                    \
      "CHROMAKEYNoNeedShow", QVariant())                                                                     \
    X(QStringList, getColorSelectRecent, setColorSelectRecent, "ColorSelectRecent", "ColorList", QVariant()) \
    X(bool, IsUpdataDriverShowed, SetUpdataDriverShowed, "DRIVERUPDATA_SHOW", "DRIVERUPDATA_SHOW",           \
      QVariant())                                                                                            \
    X(bool, IsMacFileIdListSynced, SetMacFileIdListSynced, "DataSync", "MAC_APP_FILEIDLIST_SYNC",            \
      QVariant())                                                                                            \
    X(bool, IsMacProjectListSynced, SetMacProjectListSynced, "DataSync", "MAC_APP_PROJECTLIST_SYNC",         \
      QVariant())                                                                                            \
    X(bool, IsMacDataSynced, SetMacDataSynced, "DataSync", "MAC_APP_SYNC", QVariant())                       \
    X(bool, isFirstSaveEffectMaskPreset, setFirstSaveEffectMaskPreset, "EffectMask",                         \
      "FirstSaveEffectMaskPreset", true)                                                                     \
    X(bool, GetDontShowActivity, SetDontShowActivity, "ExportActivity", "DontShowActivity", QVariant())      \
    X(int, GetExportCount, SetExportCount, "ExportActivity", "Export_Count", QVariant())                     \
    X(bool, GetRedeemExportActivity, SetRedeemExportActivity, "ExportActivity", "Redeem", QVariant())        \
    X(bool, GetExportTakeMission, SetExportTakeMission, "ExportActivity", "Take_Mission", QVariant())        \
    X(bool, GetUserClosedActivity, SetUserClosedActivity, "ExportActivity", "UserCloseActivity", QVariant()) \
    X(QString, GetDeviceExportFormat, SetDeviceExportFormat, "ExportData", "DeviceExportFormat", QVariant()) \
    X(QString, GetLastExportNameDevice, SetLastExportNameDevice, "ExportData", "LastExportNameDevice",       \
      QVariant())                                                                                            \
    X(QString, GetLastExportNameLocal, SetLastExportNameLocal, "ExportData", "LastExportNameLocal",          \
      QVariant())                                                                                            \
    X(QString, GetLocalExportFormat, SetLocalExportFormat, "ExportData", "LocalExportFormat", QVariant())    \
    X(int, GetExportPageIndex, SetExportPageIndex, "ExportData", "PageIndex", QVariant())                    \
    X(QString, GetExportParma, SetExportParma, "ExportData", "PageParma", QVariant())                        \
    X(QString, GetExportParmaName, SetExportParmaName, "ExportData", "ParmaName", QVariant())                \
    X(int, getHSLIndex, setHSLIndex, "HSLKeyFrame", "HSLIndex", QVariant())                                  \
    X(QString, GetLoginSourceForTrackEvent, SetLoginSourceForTrackEvent, "LogForTrackEvent", "LoginSource",  \
      QVariant())                                                                                            \
    X(int, GetLogLevel, SetLogLevel, "LogLevel", "LogLevel", -1)                                             \
    X(bool, IsMotionTrackBindGuideTipsNoNeedShow, SetMotionTrackBindGuideTipsNoNeedShow, "MotionTrack",      \
      "BindGuideNoNeedShow", QVariant())                                                                     \
    X(bool, IsMotionTrackInfoNoNeedShow, SetMotionTrackInfoNoNeedShow, "MotionTrack", "InfoNoNeedShow",      \
      QVariant())                                                                                            \
    X(bool, IsMotionTrackGuideTipsNoNeedShow, SetMotionTrackGuideTipsNoNeedShow, "MotionTrack",              \
      "TrackGuideNoNeedShow", QVariant())                                                                    \
    X(QString, getOpenFxDownloadPath, setOpenFxDownloadPath, "OpenFx", "DownloadPath", QVariant())           \
    X(qint64, getAppStuckThreshold, setAppStuckThreshold, "Performance", "AppStuckThreshold", -1)            \
    X(bool, getFuncionMonitoringEnable, setFuncionMonitoringEnable, "Performance",                           \
      "FunctionMonitoringEnable",                                                                            \
      false)                                                                                                 \
    X(qint64, getFunctionStuckThreshold, setFunctionStuckThreshold, "Performance", "FunctionStuckThreshold", \
      -1)                                                                                                    \
    X(bool, IsPreferenceNoAskClearProxy, SetPreferenceNoAskClearProxy, "PreferenceDialog",                   \
      "ClearProxyAsked",                                                                                     \
      QVariant())                                                                                            \
    X(bool, IsPreferenceNoAskClearRender, SetPreferenceNoAskClearRender, "PreferenceDialog",                 \
      "ClearRenderAsked", QVariant())                                                                        \
    X(bool, IsPreferenceNoAskClearTemporary, SetPreferenceNoAskClearTemporary, "PreferenceDialog",           \
      "ClearTemporaryAsked", QVariant())                                                                     \
    X(bool, IsNoAskDiskSpaceNotEnough, SetNoAskDiskSpaceNotEnough, "PreferenceDialog",                       \
      "DiskSpaceNotEnoughAsked", QVariant())                                                                 \
    X(int, projectBackupOption, setProjectBackupOption, "ProjectCompatible", "BackupOption", 0)              \
    X(bool, projectIncompatibleRemind, setProjectIncompatibleRemind, "ProjectCompatible",                    \
      "IncompatibleRemind",                                                                                  \
      true)                                                                                                  \
    X(bool, IsMediaCustomTipNoNeedShow, SetMediaCustomTipNoNeedShow, "ProjectTemplate",                      \
      "Media_customTipNoNeedShow", QVariant())                                                               \
    X(bool, IsMediaFolderNewLogo_NoNeedShow, SetMediaFolderNewLogo_NoNeedShow, "ProjectTemplate",            \
      "Media_folderNewLogo_NoNeedShow", QVariant())                                                          \
    X(bool, IsProjectTemplateBackupCustomShow, SetProjectTemplateBackupCustomShow, "ProjectTemplate",        \
      "ProjectTemplateBackupCustomShow", QVariant())                                                         \
    X(bool, IsProjectTemplateGuidanceNoNeedShow, SetProjectTemplateGuidanceNoNeedShow, "ProjectTemplate",    \
      "ProjectTemplateGuidanceNoNeedShow", QVariant())                                                       \
    X(bool, IsProjectTemplateInsertReplaceNoNeedShow, SetProjectTemplateInsertReplaceNoNeedShow,             \
      "ProjectTemplate", "ProjectTemplateInsertReplaceNoNeedShow", QVariant())                               \
    X(bool, getCustomProjectTemplateShowNext, setCustomProjectTemplateShowNext, "ProjectTemplate",           \
      "ProjectTemplateSaveCustomShowNext", QVariant())                                                       \
    X(bool, IsProjectTemplateShareCustomShow, SetProjectTemplateShareCustomShow, "ProjectTemplate",          \
      "ProjectTemplateShareCustomShow", QVariant())                                                          \
    X(bool, IsAbandonDrawMaskNoNeedShow, SetAbandonDrawMaskNoNeedShow, "PropertyPanel",                      \
      "PropertyAbandonDrawMaskNoNeedShow", QVariant())                                                       \
    X(bool, IsAddDrawMaskPointNoNeedShow, SetAddDrawMaskPointNoNeedShow, "PropertyPanel",                    \
      "PropertyAddDrawMaskPointNoNeedShow", QVariant())                                                      \
    X(bool, IsPropertyAIToolsDotNoNeedShow, SetPropertyAIToolsDotNoNeedShow, "PropertyPanel",                \
      "PropertyFirstClickAITools", QVariant())                                                               \
    X(bool, GetTransitonIncludeTrimedFramesEnable, SetTransitonIncludeTrimedFramesEnable, "PropertyPanel",   \
      "TransitonIncludeTrimedFramesEnable", true)                                                            \
    X(bool, GetResourceConvertDontRemind, SetResourceConvertDontRemind, "ResourceConvertor", "DontRemind",   \
      false)                                                                                                 \
    X(int, GetQuickStartFirstHideState, SetQuickStartFirstHideState, "Settings", "QuickStartFirstHideState", \
      QVariant())                                                                                            \
    X(int, GetQuickStartFirstShowState, SetQuickStartFirstShowState, "Settings", "QuickStartFirstShowState", \
      QVariant())                                                                                            \
    X(int, GetQuickStartState, SetQuickStartState, "Settings", "QuickStartState", QVariant())                \
    X(bool, IsSimilarAddFavoriteUsed, SetSimilarAddFavoriteUsed, "Similar", "SimilarAddFavoriteUsed",        \
      QVariant())                                                                                            \
    X(bool, IsSimilarCategoryUsed, SetSimilarCategoryUsed, "Similar", "SimilarCategoryUsed", QVariant())     \
    X(bool, IsSimilarDownloadUsed, SetSimilarDownloadUsed, "Similar", "SimilarDownloadUsed", QVariant())     \
    X(bool, IsFindSimilarUsed, SetFindSimilarUsed, "Similar", "SimilarFindUsed", QVariant())                 \
    X(bool, getTtsTestSwitch, setTtsTestSwitch, "TTSSwitch", "test", false)                                  \
    X(bool, getTemplateEditColorMatchCheck, setTemplateEditColorMatchCheck, "TemplateEdit",                  \
      "ColorMatchCheck",                                                                                     \
      true)                                                                                                  \
    X(bool, IsTemplateModeGuideTipsNoNeedShow, SetTemplateModeGuideTipsNoNeedShow, "TemplateModeUserGuide",  \
      "TemplateModeGuideNoNeedShow", QVariant())                                                             \
    X(bool, useAIImageStylizePrompt, setUseAIImageStylizePrompt, "Timeline", "AIImageStylizePrompt", true)   \
    X(bool, switchAIImageEffectPrompt, setSwitchAIImageEffectPrompt, "Timeline",                             \
      "SwitchAIImageEffectPrompt",                                                                           \
      true)                                                                                                  \
    X(int, getTestTimelineInitDurationMinute, setTestTimelineInitDurationMinute, "TimelineTest",             \
      "InitDurationMinute", QVariant())                                                                      \
    X(uint, editingTipShowedTimes, setEditingTipShowedTimes, "UserLabel", "TipShowedTimes", QVariant())      \
    X(bool, userLabelGuideTipShowed, setUserLabelGuideTipShowed, "UserLabel", "state", false)                \
    X(bool, IsAudioEffectOverwriteTipDontShow, SetAudioEffectOverwriteTipDontShow, "UserSetting",            \
      "AudioEffectOverwriteTipShow", QVariant())                                                             \
    X(bool, isShowVerticalScreenTip, setShowVerticalScreenTip, "VerticalScreen", "ShowVerticalScreenTip",    \
      false)                                                                                                 \
    X(bool, isVerticalScreen, setVerticalScreen, "VerticalScreen", "isVerticalScreen", false)

// Service addresses of the "Url" group, read only: the group is rewritten from the library's
// defaults at every start of the main application. X(getter, key).
#define RZCONFIG_URL_KEYS(X)                                                                                 \
    X(GetResetPasswordUrl, "EFFECT_STORE_RESETPWD_URL")                                                      \
    X(GetNPSApiUrl, "NPS_API_URL")                                                                           \
    X(GetUserFavoriteApiUrl, "USERFAVORITE_API_URL")                                                         \
    X(GetUserVideoLabelApiUrl, "USERVIDEOLABEL_API_URL")                                                     \
    X(GetLoginUrl, "NORTHWILLOW_ID_LOGIN_URL")                                                               \
    X(GetRegisterUrl, "NORTHWILLOW_ID_REGISTER_URL")

// Flags of this run only, never persisted: X(getter, setter, default).
#define RZCONFIG_RUN_FLAGS(X)                                                                                \
    X(getMediaDeleteConfirm, setMediaDeleteConfirm, true)                                                    \
    X(getBeatEditShowNext, setBeatEditShowNext, true)                                                        \
    X(getTemplateDeletedShowConfirm, setTemplateDeletedShowConfirm, true)                                    \
    X(getFolderDeletedShowConfirm, setFolderDeletedShowConfirm, true)                                        \
    X(getPropertyPresetDeletedShowConfirm, setPropertyPresetDeletedShowConfirm, true)                        \
    X(getCurvedSpeedRemoveConfirm, setCurvedSpeedRemoveConfirm, true)                                        \
    X(getShowToastReelvaultx, setShowToastReelvaultx, true)                                                  \
    X(isTimelineAutoSnapEnable, setTimelineAutoSnapEnable, true)                                             \
    X(needShowSharedTimelineChangedNote, setNeedShowSharedTimelineChangedNote, true)                         \
    X(IsMacDataNeedSync, SetMacDataNeedSync, false)                                                          \
    X(IsProjectTemplateFirstApplyToTimeline, SetProjectTemplateFirstApplyToTimeline, false)                  \
    X(IsProjectTemplateGuidanceNoNeedShowThisRun, SetProjectTemplateGuidanceNoNeedShowThisRun, false)        \
    X(existOpenFXPopup, setExistOpenFXPopup, false)                                                          \
    X(getLossLessRemoveConfirm, setLossLessRemoveConfirm, false)                                             \
    X(IsColorSpaceGpuTipsNoNeedShow, SetColorSpaceGpuTipsNoNeedShow, false)                                  \
    X(IsColorSpaceHDRTipsNoNeedShow, SetColorSpaceHDRTipsNoNeedShow, false)                                  \
    X(IsFindSimilarGuideShowed, SetFindSimilarGuideShowed, false)                                            \
    X(IsSimilarCategoryGuideShowed, SetSimilarCategoryGuideShowed, false)                                    \
    X(IsQuickStartGuidWidgetShowing, SetQuickStartGuidWidgetShowing, false)                                  \
    X(getDownloadWithProgress, setDownloadWithProgress, false)

// clang-format on
