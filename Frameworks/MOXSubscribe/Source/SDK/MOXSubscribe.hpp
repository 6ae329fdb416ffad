#pragma once

/// Everything that a client of the framework needs.

#include "SDK/MOXFileSubscription.hpp"
#include "SDK/MOXFileSubscriptionManager.hpp"
#include "SDK/MOXFileSubscriptionManagerAdditions.hpp"
#include "SDK/MOXLaunchAlias.hpp"
#include "SDK/MOXLaunchRegistrationScope.hpp"
#include "SDK/MOXNotifications.hpp"
#include "SDK/MOXPlistSubscription.hpp"
#include "SDK/MOXPlistSubscriptionManager.hpp"
#include "SDK/MOXRunLoop.hpp"
#include "SDK/MOXSubscribeAdditions.hpp"
#include "SDK/MOXSubscription.hpp"
#include "SDK/MOXSubscriptionManager.hpp"
#include "SDK/MOXTypes.hpp"
#include "SDK/MOXVersionNumber.hpp"
