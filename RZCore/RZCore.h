#pragma once
// Umbrella header: every public header of the library.

#include <RZCore/RZCoreExport.h>
#include <RZCore/util/RZDeploymentValues.h>
#include <RZCore/platform/RZPlatform.h>

// application frame
#include <RZCore/app/RZAppInfo.h>
#include <RZCore/app/RZApplication.h>
#include <RZCore/app/RZObject.h>
#include <RZCore/app/RZSingleApplication.h>
#include <RZCore/app/RZSingleton.h>

// configuration
#include <RZCore/config/RZCBSUrlReader.h>
#include <RZCore/config/RZConfig.h>
#include <RZCore/config/RZConfigKeys.h>
#include <RZCore/config/RZRegistryInfo.h>

// network and web addresses
#include <RZCore/net/RZDomainNameService.h>
#include <RZCore/net/RZHttpClient.h>
#include <RZCore/net/RZNetwork.h>
#include <RZCore/net/RZNetworkProxy.h>
#include <RZCore/net/RZTokenHelper.h>
#include <RZCore/net/RZUrlHelper.h>

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
#include <RZCore/files/RZDir.h>
#include <RZCore/util/RZDomDocument.h>
#include <RZCore/files/RZFile.h>
#include <RZCore/util/RZStringUtils.h>
#include <RZCore/util/RZUtility.h>
#include <RZCore/files/ZipOperate.h>

// process communication
#include <RZCore/ipc/RZCommunicator.h>
#include <RZCore/ipc/RZProcess.h>
// events and scheduling
#include <RZCore/events/RZColdLoading.h>
#include <RZCore/events/RZCustomEvent.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/events/RZElapsedTimerManager.h>
// freeze and stall monitoring
#include <RZCore/monitor/KPerformanceScoper.h>
#include <RZCore/monitor/RZAppStuckMonitoring.h>
#include <RZCore/monitor/RZAppStuckMonitoringManager.h>
#include <RZCore/monitor/RZMonitorTimer.h>
#include <RZCore/monitor/RZStuckLog.h>
#include <RZCore/log/RZDebuger.h>
// locale and display
#include <RZCore/locale/RZLocale.h>
#include <RZCore/locale/RZScreen.h>
