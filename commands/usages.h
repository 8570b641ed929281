// What the commands of this layer take and answer (see console/usage.h): each family adds its handlers to a list.
#pragma once

#include "commands/settingChange.h"
#include "console/usage.h"

void describeAudioLevels(UsageList& list);
void describeBoundedTexts(UsageList& list);
void describeChoices(UsageList& list);
void describeClientDevice(UsageList& list);
void describeFactoryData(UsageList& list);
void describeInputFormatEdidLabel(UsageList& list);
void describeMaintenance(UsageList& list);
void describeNetwork(UsageList& list);
void describeNumbers(UsageList& list);
void describePictureReset(UsageList& list);
void describeResolutions(UsageList& list);
void describeSerialLines(UsageList& list);
void describeSwitches(UsageList& list);
void describeSystemInformation(UsageList& list);
void describeUserAccounts(UsageList& list);
void describeVideoRouting(UsageList& list);

/// The topic under which the console publishes what a setting held already; null when it does not.
const char* unchangedTopic(const Announcement& announcement, PublishRule rule);

/// All of them.
void describeCommands(UsageList& list);
