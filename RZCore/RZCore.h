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

// files, folders and zip archives
#include <RZCore/RZDir.h>
#include <RZCore/RZDomDocument.h>
#include <RZCore/RZFile.h>
#include <RZCore/RZStringUtils.h>
#include <RZCore/RZUtility.h>
#include <RZCore/ZipOperate.h>
