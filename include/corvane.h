#pragma once

// Everything that the library offers to a host.

#include "corvane/Corvane.h"
#include "corvane/CorvaneAttribution.h"
#include "corvane/CorvaneCancellationError.h"
#include "corvane/CorvaneClickTokenSource.h"
#include "corvane/CorvaneDeepLink.h"
#include "corvane/CorvaneError.h"
#include "corvane/CorvaneEventResult.h"
#include "corvane/CorvaneExecutor.h"
#include "corvane/CorvaneExport.h"
#include "corvane/CorvaneLinkSource.h"
#include "corvane/CorvaneLogLevel.h"
#include "corvane/CorvaneMainQueue.h"
#include "corvane/CorvaneOptions.h"
#include "corvane/CorvanePasteboard.h"
#include "corvane/CorvanePlatform.h"
#include "corvane/CorvaneRetryPolicy.h"
#include "corvane/CorvaneTask.h"
#include "corvane/CorvaneVersion.h"
