#include "commands/usages.h"

void describeCommands(UsageList& list)
{
    describeAudioLevels(list);
    describeBoundedTexts(list);
    describeChoices(list);
    describeFactoryData(list);
    describeMaintenance(list);
    describeNetwork(list);
    describeNumbers(list);
    describeResolutions(list);
    describeSerialLines(list);
    describeSmallCommands(list);
    describeSwitches(list);
    describeSystemInformation(list);
    describeUserAccounts(list);
    describeVideoRouting(list);
}
