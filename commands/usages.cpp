#include "commands/usages.h"

void describeCommands(UsageList& list)
{
    describeAudioLevels(list);
    describeBoundedTexts(list);
    describeChoices(list);
    describeClientDevice(list);
    describeFactoryData(list);
    describeInputFormatEdidLabel(list);
    describeMaintenance(list);
    describeNetwork(list);
    describeNumbers(list);
    describePictureReset(list);
    describeResolutions(list);
    describeSerialLines(list);
    describeSwitches(list);
    describeSystemInformation(list);
    describeUserAccounts(list);
    describeVideoRouting(list);
}
