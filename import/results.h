// How a migration ends: the codes that it and its importers return, which the console's result file
// and the exit status show and README explains.
#pragma once

namespace zeva {

enum ResultCode : int {
  kImported = 0,
  kNoPackage = -1,
  kNoUnpackFolder = -2,
  kNotDecrypted = -3,
  kNotCopied = -4,
  kNotUnpacked = -5,
  kChecksumsDoNotHold = -6,
  kNoServer = -7,
  kAddressGroupsFailed = -8,
  kFilterActionsFailed = -11,
  kQuarantineAreasFailed = -12,
  kExceptionHandlingFailed = -13,
  kScanLimitsFailed = -14,
  kSingleValuesFailed = -15,
  kNoBackup = -16,
  kOutOfTime = -17,
  kNotEnoughMemory = -18,
  kAnotherRun = -19,
  kInterrupted = -100,
};

// What each of them means to a person. After an importer's code, and after time or memory ran out,
// the store is what it was before.
struct Result {
  ResultCode code;
  char const* meaning;
};
inline constexpr Result kResults[] = {
    {kImported, "the run came to its end; its log says what was left out, if anything"},
    {kNoPackage, "the package does not exist"},
    {kNoUnpackFolder, "the folder to unpack into could not be made"},
    {kNotDecrypted, "the package could not be decrypted"},
    {kNotCopied, "the package could not be copied"},
    {kNotUnpacked, "the package could not be unpacked: it is damaged or no settings package"},
    {kChecksumsDoNotHold, "the checksums do not hold: the package is damaged or incomplete"},
    {kNoServer, "the registry server could not be started"},
    {kAddressGroupsFailed, "the address groups could not be imported"},
    {kFilterActionsFailed,
     "the filter actions were not imported or an old address group not removed"},
    {kQuarantineAreasFailed, "the quarantine areas could not be imported"},
    {kExceptionHandlingFailed, "the exception handling could not be imported"},
    {kScanLimitsFailed, "the scan limits could not be imported"},
    {kSingleValuesFailed, "the single values of misc.txt could not be imported"},
    {kNoBackup, "no backup could be made"},
    {kOutOfTime, "the import took more than 300 seconds"},
    {kNotEnoughMemory, "there was not enough memory to import"},
    {kAnotherRun, "another migration, or a command that one has left behind, is running"},
    {kInterrupted, "wrong command line, or ended by a signal with nothing put back"},
};

// What all importers together may take. Each address group takes a second of it.
inline constexpr int kWatchdogSeconds = 300;

}  // namespace zeva
