#pragma once
// Umbrella header: every public header of the library.

#include <RZCore/RZCoreExport.h>
#include <RZCore/RZDeploymentValues.h>
#include <RZCore/platform/RZPlatform.h>

// application frame
#include <RZCore/RZAppInfo.h>
#include <RZCore/RZApplication.h>
#include <RZCore/RZObject.h>
#include <RZCore/RZSingleton.h>

// configuration
#include <RZCore/RZCBSUrlReader.h>
#include <RZCore/RZConfig.h>
#include <RZCore/RZConfigKeys.h>
#include <RZCore/RZRegistryInfo.h>

// logging
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/log/RZLogSinks.h>

// messages, scenes and views, presenters, drag service, object seeker
#include <RZCore/ui/RZDragService.h>
#include <RZCore/ui/RZMessage.h>
#include <RZCore/ui/RZMessageService.h>
#include <RZCore/ui/RZObjSeeker.h>
#include <RZCore/ui/RZPresenter.h>
#include <RZCore/ui/RZUIScene.h>
// state machine
#include <RZCore/hsm/HSMEvent.h>
#include <RZCore/hsm/HSMState.h>
#include <RZCore/hsm/HSMTransition.h>
// files, folders and zip archives
#include <RZCore/RZDir.h>
#include <RZCore/RZDomDocument.h>
#include <RZCore/RZFile.h>
#include <RZCore/RZStringUtils.h>
#include <RZCore/RZUtility.h>
#include <RZCore/ZipOperate.h>

// process communication
#include <RZCore/RZCommunicator.h>
#include <RZCore/RZProcess.h>
// events and scheduling
#include <RZCore/events/RZColdLoading.h>
#include <RZCore/events/RZCustomEvent.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/events/RZElapsedTimerManager.h>
#include <RZCore/log/RZDebuger.h>
