// The exported operations as processes call them: exact types, and no default arguments except
// those of the message queue's constructor. Nothing runs; compiling is the test.
#include <pwd.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cwchar>
#include <list>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "ArgsOptions.h"
#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocale.h"
#include "VexaLocks.h"
#include "VexaNetUtils.h"
#include "VexaStringUtils.h"
#include "VexaWideIO.h"

namespace {

/// True for an operation of exactly the type of `Pointer`; of overloads it picks the one.
template <class Pointer>
constexpr bool declares(Pointer /*operation*/) {
  return true;
}

template <class Signature, class Class>
using MemberPointer = Signature Class::*;

/// The arguments of a function type, after `Object` if it is not void.
template <class Object, class Signature>
struct Arguments;

template <class Result, class... Args>
struct Arguments<void, Result(Args...)> {
  using Types = std::tuple<Args...>;
};

template <class Object, class Result, class... Args>
struct Arguments<Object, Result(Args...)> {
  using Types = std::tuple<Object&, Args...>;
};

template <class Object, class Result, class... Args>
struct Arguments<Object, Result(Args...) const> {
  using Types = std::tuple<const Object&, Args...>;
};

template <class Call, class Types, std::size_t... Index>
constexpr bool takesFirst(std::index_sequence<Index...> /*which*/) {
  return std::is_invocable_v<Call, std::tuple_element_t<Index, Types>...>;
}

/// True if `Call` takes all the arguments and not one less: the last one has no default.
template <class Object, class Signature, class Call>
constexpr bool needsAll(Call /*call*/) {
  using Types = typename Arguments<Object, Signature>::Types;
  constexpr std::size_t kObjects = std::is_void_v<Object> ? 0 : 1;
  constexpr std::size_t kCount = std::tuple_size_v<Types>;
  if (!takesFirst<Call, Types>(std::make_index_sequence<kCount>())) return false;
  if constexpr (kCount == kObjects) return true;
  constexpr std::size_t kFewer = kCount == 0 ? 0 : kCount - 1;
  return !takesFirst<Call, Types>(std::make_index_sequence<kFewer>());
}

}  // namespace

#define CALL_OF(callee) \
  [](auto&&... args) -> decltype(static_cast<void>(callee(static_cast<decltype(args)>(args)...))) {}

#define MEMBER_CALL_OF(name)                                      \
  [](auto& object, auto&&... args) -> decltype(static_cast<void>( \
                                       object.name(static_cast<decltype(args)>(args)...))) {}

// The trailing arguments form the operation's function type.
#define FREE_OPERATION(name, ...)                                    \
  static_assert(declares<std::add_pointer_t<__VA_ARGS__>>(&::name)); \
  static_assert(needsAll<void, __VA_ARGS__>(CALL_OF(::name)))

#define STATIC_OPERATION(Class, name, ...)                                \
  static_assert(declares<std::add_pointer_t<__VA_ARGS__>>(&Class::name)); \
  static_assert(needsAll<void, __VA_ARGS__>(CALL_OF(Class::name)))

#define MEMBER_OPERATION(Class, name, ...)                                  \
  static_assert(declares<MemberPointer<__VA_ARGS__, Class>>(&Class::name)); \
  static_assert(needsAll<Class, __VA_ARGS__>(MEMBER_CALL_OF(name)))

// An overload: a call with fewer arguments may select another one.
#define FREE_OVERLOAD(name, ...) static_assert(declares<std::add_pointer_t<__VA_ARGS__>>(&::name))

#define STATIC_OVERLOAD(Class, name, ...) \
  static_assert(declares<std::add_pointer_t<__VA_ARGS__>>(&Class::name))

#define MEMBER_OVERLOAD(Class, name, ...) \
  static_assert(declares<MemberPointer<__VA_ARGS__, Class>>(&Class::name))

namespace {

using Text = std::string;
using TextList = std::list<std::string>;
using TextVector = std::vector<std::string>;
using TextSet = std::set<std::string>;
using TextMap = std::map<std::string, std::string>;
using Bytes = std::vector<unsigned char>;
using MacList = std::vector<CMACAddress>;
using MacRecord = Vexacommon::LocalMACAddress;

// Environment, configuration, settings

STATIC_OPERATION(VexaCommonUtils, Vexagetenv, Text(const char*));
STATIC_OPERATION(VexaCommonUtils, replaceEnvVar, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils, replEnvVar, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils_i, VexareplaceEnvVar, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils_i, VexareplaceMacroVar, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils, getCommonConfigPath, Text());
STATIC_OPERATION(VexaCommonUtils, getConfigPath, Text());
STATIC_OPERATION(VexaCommonUtils, getAppConfigPath, Text());
STATIC_OPERATION(VexaCommonUtils, getAPPShareConfigPath, Text());
STATIC_OPERATION(VexaCommonUtils_i, getConfFile, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils, getTracePath, Text());
STATIC_OPERATION(VexaCommonUtils, getDumpAllLocksFile, Text());
STATIC_OPERATION(VexaCommonUtils_i, getSettingParamValue, int(const Text&, Text&));
STATIC_OPERATION(VexaCommonUtils_i, getSettingGroupParams, int(const Text&, TextMap&));
STATIC_OPERATION(VexaCommonUtils_i, GetSetParamValue, bool(const Text&, const Text&, Text&));
STATIC_OPERATION(VexaCommonUtils, isListenAllIp, bool());
STATIC_OPERATION(VexaCommonUtils_i, isListenLoopback, bool());
STATIC_OPERATION(VexaCommonUtils_i, isCorbaSSLOnly, bool());
STATIC_OPERATION(VexaCommonUtils, isCorbaSSLOnly, bool());
STATIC_OPERATION(VexaCommonUtils_i, isTsMode, bool());
STATIC_OPERATION(VexaCommonUtils_i, isZirel, bool());
STATIC_OPERATION(VexaCommonUtils, IsGlobalVersion, bool());
STATIC_OPERATION(VexaCommonUtils, getDBType, Text());
STATIC_OPERATION(VexaCommonUtils_i, get_svc_ssl_conf, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils_i, VexaGetSSLMode, int());

// Text

STATIC_OPERATION(VexaCommonUtils, Vexareverse, Text(Text&));
STATIC_OPERATION(VexaCommonUtils, Vexaltrim, Text(Text&));
STATIC_OPERATION(VexaCommonUtils, Vexatrim, Text(Text&));
STATIC_OPERATION(VexaCommonUtils, Vexareplace, Text(Text&, Text&, Text&));
STATIC_OPERATION(VexaCommonUtils, stringReplace, void(const Text&, const Text&, Text&));
STATIC_OPERATION(VexaCommonUtils, split, void(const Text&, const Text&, TextList&));
STATIC_OPERATION(VexaCommonUtils, splitAll, unsigned long(const Text&, const Text&, TextVector&));
STATIC_OPERATION(VexaCommonUtils, ltoa, char*(long, char*));
STATIC_OPERATION(VexaCommonUtils, ultoa, char*(unsigned long, char*));
STATIC_OPERATION(VexaCommonUtils, tabs, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils_i, VexatrimAll, Text(const Text&, const char*));
STATIC_OPERATION(VexaCommonUtils_i, trimString, Text(const Text&, const char*));
STATIC_OPERATION(VexaCommonUtils_i, splitAll, void(const Text&, const Text&, TextSet&));
STATIC_OPERATION(VexaCommonUtils_i, ulltoa, char*(unsigned long long, char*));
STATIC_OPERATION(VexaCommonUtils_i, Isdigitstr, bool(const Text&));
STATIC_OPERATION(VexaCommonUtils_i, getUpperIntVal, double(double));
FREE_OPERATION(ToUpperEx, void(Text&));
FREE_OPERATION(ToUpper, Text(const Text&));
FREE_OPERATION(StringIsRight, bool(const Text&));
FREE_OPERATION(ReplaceChar, Text(const Text&, char, const Text&));
FREE_OPERATION(StrHexToInt, Text(Text));
STATIC_OPERATION(VexaLocale, Instance, VexaLocale*());
STATIC_OPERATION(VexaLocale, SetLocale, char*(const char*));
STATIC_OPERATION(VexaLocale, Destory, void());
STATIC_OVERLOAD(VexaCommonUtils, STR2WSTR, void(const char*, wchar_t*));
STATIC_OVERLOAD(VexaCommonUtils, STR2WSTR, std::wstring(const Text&));
static_assert(std::is_same_v<std::wstring, decltype(VexaCommonUtils::STR2WSTR("a"))>);
STATIC_OPERATION(VexaCommonUtils, WSTR2STR, Text(const wchar_t*));
STATIC_OPERATION(VexaCommonUtils, LOC2UTF8, Text(const char*));
STATIC_OPERATION(VexaCommonUtils, UTF8TOLOC, Text(const char*));
STATIC_OPERATION(VexaCommonUtils, isBase64, bool(unsigned char));
STATIC_OPERATION(VexaCommonUtils, base64Decode, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils_i, encodeData, Text(const char*, unsigned int));
STATIC_OPERATION(VexaCommonUtils_i, decodeData, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils_i, generateUUID, Text());
STATIC_OPERATION(VexaCommonUtils, getTimeStamp, Text(bool));

// Database query text

STATIC_OPERATION(VexaCommonUtils, transDBUpdateString, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils, transDBSearchString, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils, getEscapeString, Text());
STATIC_OPERATION(VexaCommonUtils, TransferLikeSqlForSybAndMSSQL, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils_i, TransferLikeSql, Text(const Text&, Vexacommon::FuzzyQueryMode));

// Network

STATIC_OPERATION(VexaCommonUtils, isValidIP, bool(const Text&));
FREE_OPERATION(CheckIp, bool(const char*));
STATIC_OPERATION(VexaCommonUtils_i, validateIPv4, int(const Text&, Bytes&));
STATIC_OPERATION(VexaCommonUtils_i, formatStringIP, int(Text&));
STATIC_OPERATION(VexaCommonUtils_i, formatStringIP_DNS, int(Text&));
FREE_OPERATION(FullNameIp, void(Text&));
FREE_OPERATION(TrimStringIp, int(char*, int));
STATIC_OPERATION(VexaCommonUtils_i, stringIPToAddress, int(int, const char*, void*, int));
STATIC_OPERATION(VexaCommonUtils_i, addressToStringIP, int(int, void*, int, char*, int));
STATIC_OPERATION(VexaCommonUtils, hostname, Text());
STATIC_OPERATION(VexaCommonUtils, sysname, Text());
STATIC_OPERATION(VexaCommonUtils, hostipaddr, Text());
STATIC_OPERATION(VexaCommonUtils, getIPbyHostname, int(const Text&, Text&));
STATIC_OPERATION(VexaCommonUtils, getHostnamebyIP, int(const Text&, Text&));
STATIC_OPERATION(VexaCommonUtils_i, getAllIPAddr, int(TextList&));
STATIC_OPERATION(VexaCommonUtils, getNetmaskByIP, int(Text&, Text&));
FREE_OPERATION(GetNetmaskByIpUseioctl, int(const Text&, Text&));
FREE_OPERATION(GetNetmaskByIpUseifconfig, int(const Text&, Text&));
STATIC_OPERATION(VexaCommonUtils_i, getInterfaceOfIPV6, int(Text&, Text&));
FREE_OPERATION(GetInet6Address, void(const Text&, Text&));
MEMBER_OVERLOAD(CMACAddress, operator=, CMACAddress&(const unsigned char*));
MEMBER_OPERATION(CMACAddress, operator==, bool(const CMACAddress&));
FREE_OPERATION(GetLocalMACAddr, int(MacList&));
FREE_OPERATION(GetHWMACAddr, void(MacList&, CMACAddress&));
FREE_OPERATION(GetMac, void(const Text&, Text&));
FREE_OPERATION(GetEther, int(Text, MacRecord*));
FREE_OPERATION(GetZirelEther, int(const Text&, MacRecord*));
STATIC_OPERATION(VexaCommonUtils_i, getMacAddrOfIPV6, int(Text&, MacRecord*));
STATIC_OPERATION(VexaCommonUtils_i, getZirelMacAddrOfIPV6, int(const Text&, MacRecord*));
STATIC_OPERATION(VexaCommonUtils_i, GetAllWebswingNodeIPs, int(TextList&));

// Processes, users, files

STATIC_OPERATION(VexaCommonUtils, system, int(const char*));
STATIC_OPERATION(VexaCommonUtils_i, execve_s, int(const char*));
STATIC_OVERLOAD(VexaCommonUtils_i, runCommand, int(const char*, bool, bool));
STATIC_OVERLOAD(VexaCommonUtils_i, runCommand, int(const char*, char* const*));
static_assert(needsAll<void, int(const char*, bool, bool)>(CALL_OF(VexaCommonUtils_i::runCommand)));
static_assert(
    needsAll<void, int(const char*, char* const*)>(CALL_OF(VexaCommonUtils_i::runCommand)));
STATIC_OPERATION(VexaCommonUtils_i, pipeline_s, std::FILE*(const char*));
STATIC_OPERATION(VexaCommonUtils_i, pclose_s, int(std::FILE*));
STATIC_OPERATION(VexaCommonUtils_i, getSystemExecResult, int(const char*, Text&));
STATIC_OPERATION(VexaCommonUtils, switchOmcUser, int());
STATIC_OPERATION(VexaCommonUtils, getSessionDetails, int(Text&, Text&));
STATIC_OPERATION(VexaCommonUtils_i, securityGetpwnam, bool(const Text&, passwd&, char*, long));
STATIC_OPERATION(VexaCommonUtils_i, securityGetpwuid, bool(unsigned int, passwd&, char*, long));
STATIC_OPERATION(VexaCommonUtils_i, getCommandLine, void(TextVector&));
STATIC_OPERATION(VexaCommonUtils, getKernelThreadIDForFS, long());
STATIC_OPERATION(VexaCommonUtils, getProcessCPUAndMem,
                 int(const Text&, unsigned int&, unsigned int&));
STATIC_OPERATION(VexaCommonUtils, printStackTrace, void());
STATIC_OPERATION(VexaCommonUtils, mkdir_all, void(const Text&));
STATIC_OPERATION(VexaCommonUtils, readFile, int(const Text&, Text&));
STATIC_OPERATION(VexaCommonUtils_i, getParentDirectory, Text(const Text&, Text&));
STATIC_OPERATION(VexaCommonUtils_i, copyFile, int(const Text&, const Text&, bool, bool));
STATIC_OPERATION(VexaCommonUtils, getFilesByDir, int(Text, Text, TextList&));
STATIC_OPERATION(VexaCommonUtils, checkPath, bool(const Text&, const Text&));
STATIC_OPERATION(VexaCommonUtils_i, isSafeFileName, bool(const Text&));
STATIC_OPERATION(VexaCommonUtils_i, checkUnSafeStr, bool(const Text&));
STATIC_OPERATION(VexaCommonUtils, specialName2FileName, Text(const Text&));
STATIC_OPERATION(VexaCommonUtils, fileName2SpecialName, Text(const Text&));

// Locks

using Entry = VexaToken::ACE_Token_Queue_Entry;
using Queue = VexaToken::ACE_Token_Queue;

MEMBER_OPERATION(VexaProcessLock, EnterProcessMutex, int());
MEMBER_OPERATION(VexaProcessLock, ExitProcessMutex, int());
MEMBER_OPERATION(VexaProcessLock, WaitMaxTime, int(int, Text));
MEMBER_OPERATION(VexaProcessLock, LeaveProcessMutex, void());
MEMBER_OPERATION(VexaProcessLock, SetOutputType, void(OUTPUT_TYPE));
MEMBER_OPERATION(VexaProcessLock, OutputScreen, void(const char*) const);
MEMBER_OPERATION(Entry, wait, int(const ACE_Time_Value*, ACE_Thread_Mutex&));
MEMBER_OPERATION(Entry, signal, int());
MEMBER_OPERATION(Queue, insert_entry, void(Entry&, int));
MEMBER_OPERATION(Queue, remove_entry, void(const Entry*));
MEMBER_OPERATION(Queue, find, Entry*(const unsigned long&));
MEMBER_OPERATION(VexaToken, grab, int());
MEMBER_OPERATION(VexaToken, letgo, int());
MEMBER_OPERATION(VexaToken, acquire, int(void (*)(void*), void*, ACE_Time_Value*));
MEMBER_OPERATION(VexaToken, release, int());
MEMBER_OPERATION(VexaToken, wakeup_next_waiter, void());
MEMBER_OPERATION(VexaToken, dump, void() const);
MEMBER_OPERATION(VexaToken_Message_Queue, setToken, int(VexaToken*));
MEMBER_OPERATION(VexaToken_Message_Queue, dequeue_head, int(ACE_Message_Block*&, ACE_Time_Value*));

// Wide streams

template <class Stream>
constexpr bool reads() {
  MEMBER_OVERLOAD(Stream, get, std::wint_t());
  MEMBER_OVERLOAD(Stream, get, int(wchar_t&));
  MEMBER_OVERLOAD(Stream, get, void(wchar_t*, std::size_t));
  MEMBER_OVERLOAD(Stream, get, void(wchar_t*, std::size_t, unsigned int));
  MEMBER_OVERLOAD(Stream, getline, void(wchar_t*, std::size_t));
  MEMBER_OVERLOAD(Stream, getline, void(wchar_t*, std::size_t, unsigned int));
  MEMBER_OVERLOAD(Stream, get, int(char&));
  MEMBER_OVERLOAD(Stream, get, void(char*, std::size_t));
  MEMBER_OVERLOAD(Stream, get, void(char*, std::size_t, int));
  MEMBER_OPERATION(Stream, read, std::size_t(void*, std::size_t, std::size_t));
  return true;
}

template <class Stream>
constexpr bool writes() {
  MEMBER_OVERLOAD(Stream, put, std::wint_t(wchar_t));
  MEMBER_OVERLOAD(Stream, put, int(const wchar_t*));
  MEMBER_OVERLOAD(Stream, put, int(char));
  MEMBER_OVERLOAD(Stream, put, int(const char*));
  MEMBER_OPERATION(Stream, write, std::size_t(const void*, std::size_t, std::size_t));
  return true;
}

template <class Stream>
constexpr bool opens() {
  MEMBER_OPERATION(Stream, open, void(const char*, int));
  MEMBER_OPERATION(Stream, close, void());
  MEMBER_OPERATION(Stream, eof, int());
  MEMBER_OPERATION(Stream, fail, int());
  return true;
}

/// True if a call of each shorter form means one operation: the longer ones have no defaults.
template <class Stream>
constexpr bool readsWithoutDefaults(Stream* stream, wchar_t* wide, char* bytes) {
  return requires {
    stream->get();
    stream->get(*wide);
    stream->get(wide, 1U);
    stream->getline(wide, 1U);
    stream->get(*bytes);
    stream->get(bytes, 1U);
  }
  &&!requires { stream->get(wide); }
  &&!requires { stream->get(bytes); }
  &&!requires { stream->getline(wide); };
}

static_assert(reads<Vexawifstream>() && reads<Vexawfstream>());
static_assert(readsWithoutDefaults<Vexawifstream>(nullptr, nullptr, nullptr));
static_assert(readsWithoutDefaults<Vexawfstream>(nullptr, nullptr, nullptr));
static_assert(writes<Vexawofstream>() && writes<Vexawfstream>());
static_assert(opens<Vexawifstream>() && opens<Vexawofstream>() && opens<Vexawfstream>());
MEMBER_OPERATION(Vexawifstream, isValid, bool());
MEMBER_OPERATION(Vexawofstream, isValid, bool());
MEMBER_OPERATION(Vexawifstream, fseekg, int(long));
MEMBER_OPERATION(Vexawifstream, ftellg, long());
MEMBER_OPERATION(Vexawifstream, getn, long());
MEMBER_OPERATION(Vexawifstream, getd, double());

FREE_OPERATION(wendl, std::ostream&(std::ostream&));
FREE_OPERATION(wends, std::ostream&(std::ostream&));
FREE_OPERATION(wflush, std::ostream&(std::ostream&));

template <class Stream, class... Operands>
constexpr bool inserts() {
  return (declares<Stream& (*)(Stream&, Operands)>(&::operator<<) && ...);
}

template <class Stream, class... Operands>
constexpr bool extracts() {
  return (declares<Stream& (*)(Stream&, Operands)>(&::operator>>) && ...);
}

template <class Stream>
constexpr bool kInserts =
    inserts<Stream, const wchar_t*, wchar_t, const char*, char, int, unsigned int, short,
            unsigned short, long, unsigned long, float, double>();

template <class Stream>
constexpr bool kExtracts =
    extracts<Stream, wchar_t*, wchar_t&, char*, int&, short&, long&, unsigned int&, unsigned short&,
             unsigned long&, float&, double&>();

static_assert(kInserts<Vexawofstream> && kInserts<Vexawfstream>);
static_assert(kExtracts<Vexawifstream> && kExtracts<Vexawfstream>);
static_assert(extracts<Vexawifstream, char&>());
static_assert(extracts<Vexawfstream, char>());

FREE_OPERATION(Vexavswprintf, void(wchar_t*, const wchar_t*, std::va_list));
FREE_OVERLOAD(Vexaswprintf, void(wchar_t*, const wchar_t*, ...));
FREE_OVERLOAD(Vexawprintf, void(const wchar_t*, ...));
FREE_OVERLOAD(Vexafwprintf, void(std::FILE*, wchar_t*, const wchar_t*, ...));

// Options

MEMBER_OPERATION(ArgsOptions, hasOption, bool(const Text&) const);
MEMBER_OPERATION(ArgsOptions, getOption, Text(const Text&) const);
MEMBER_OPERATION(ArgsOptions, getOptions, TextList(const Text&) const);
MEMBER_OPERATION(ArgsOptions, getFlags, TextList() const);
MEMBER_OPERATION(ArgsOptions, numberOfOptions, int() const);
MEMBER_OPERATION(ArgsOptions, numberOfargs, int() const);

// Constructors

template <class Class, class... Args>
constexpr bool kMakes = std::is_constructible_v<Class, Args...>;

static_assert(kMakes<CMACAddress> && !kMakes<CMACAddress, const unsigned char*>);
static_assert(kMakes<VexaProcessLock, const Text&, const Text&>);
static_assert(!kMakes<VexaProcessLock> && !kMakes<VexaProcessLock, const char*>);
static_assert(kMakes<Entry, ACE_Thread_Mutex&, unsigned long>);
static_assert(kMakes<Entry, ACE_Thread_Mutex&, unsigned long, ACE_Condition_Attributes&>);
static_assert(!kMakes<Entry> && !kMakes<Entry, ACE_Thread_Mutex&>);
static_assert(kMakes<Queue> && kMakes<VexaToken>);
static_assert(
    kMakes<VexaToken_Message_Queue, std::size_t, std::size_t, ACE_Notification_Strategy*>);
static_assert(kMakes<VexaToken_Message_Queue>);
static_assert(kMakes<Vexawifstream> && !kMakes<Vexawifstream, const char*>);
static_assert(kMakes<Vexawofstream> && !kMakes<Vexawofstream, const char*>);
static_assert(kMakes<Vexawfstream> && !kMakes<Vexawfstream, const char*>);
static_assert(kMakes<ArgsOptions, int, char**>);
static_assert(!kMakes<ArgsOptions> && !kMakes<ArgsOptions, int>);

}  // namespace
