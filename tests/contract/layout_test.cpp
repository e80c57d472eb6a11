// The classes that processes were compiled against: sizes, alignment, bases, public fields, and
// positions of bases and virtual functions at run time. Private fields are compared with structures
// of the same fields; their names and offsets are in abi/libcommutil.abi.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>

#include "ArgsOptions.h"
#include "VexaCommonTypes.h"
#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocale.h"
#include "VexaLocks.h"
#include "VexaNetUtils.h"
#include "VexaWideIO.h"
#include "sync/lock_fields.h"

namespace {

using commutil_test::EntryFields;
using commutil_test::ProcessLockFields;
using commutil_test::QueueFields;
using commutil_test::TokenFields;

template <class Class, class Fields>
constexpr bool kHasFieldsOf = sizeof(Class) == sizeof(Fields) && alignof(Class) == alignof(Fields);

template <class Class>
constexpr bool kHasNoVirtuals = std::is_class_v<Class> && !std::is_polymorphic_v<Class>;

/// A public base that is not virtual: only such a base converts in both directions.
template <class Base, class Class>
constexpr bool kDerivesFrom =
    std::is_base_of_v<Base, Class>&& std::is_convertible_v<Class*, Base*>&& requires(Base* base) {
  static_cast<Class*>(base);
};

/// A public virtual base, reached in one way only.
template <class Base, class Class>
constexpr bool kSharesBase = std::is_convertible_v<Class*, Base*> && !requires(Base * base) {
  static_cast<Class*>(base);
};

// The utility classes and the locale have nothing but static members.

static_assert(std::is_empty_v<VexaCommonUtils> && kHasNoVirtuals<VexaCommonUtils>);
static_assert(std::is_empty_v<VexaCommonUtils_i> && kHasNoVirtuals<VexaCommonUtils_i>);
static_assert(std::is_empty_v<VexaLocale> && kHasNoVirtuals<VexaLocale>);

// Enumerations

template <class Enum>
constexpr bool kIsPlainIntEnum = std::is_enum_v<Enum>&& std::is_convertible_v<Enum, int>&&
                                     std::is_same_v<int, std::underlying_type_t<Enum>> &&
                                 sizeof(Enum) == 4;

static_assert(kIsPlainIntEnum<Vexacommon::FuzzyQueryMode>);
static_assert(Vexacommon::FUZZY_QUERY_NONE == 0);
static_assert(Vexacommon::FUZZY_QUERY_LEFT == 1);
static_assert(Vexacommon::FUZZY_QUERY_RIGHT == 2);
static_assert(Vexacommon::FUZZY_QUERY_BOTH == 3);

static_assert(kIsPlainIntEnum<OUTPUT_TYPE>);
static_assert(std::is_same_v<::OUTPUT_TYPE, VexaProcessLock::OUTPUT_TYPE>);
static_assert(OUTPUT_TYPE_SILENT == 0);
static_assert(OUTPUT_TYPE_SCREEN == 1);
static_assert(OUTPUT_TYPE_BOTH == 2);

// Records

static_assert(std::is_aggregate_v<Vexacommon::LocalMACAddress>);
static_assert(std::is_trivial_v<Vexacommon::LocalMACAddress>);
static_assert(std::is_standard_layout_v<Vexacommon::LocalMACAddress>);
static_assert(sizeof(Vexacommon::LocalMACAddress) == 6 &&
              alignof(Vexacommon::LocalMACAddress) == 1);
static_assert(std::is_same_v<unsigned char[6], decltype(Vexacommon::LocalMACAddress::mac)>);
static_assert(offsetof(Vexacommon::LocalMACAddress, mac) == 0);

static_assert(kHasNoVirtuals<CMACAddress> && std::is_standard_layout_v<CMACAddress>);
static_assert(sizeof(CMACAddress) == 25 && alignof(CMACAddress) == 1);
static_assert(std::is_same_v<char[19], decltype(CMACAddress::text)>);
static_assert(std::is_same_v<unsigned char[6], decltype(CMACAddress::bytes)>);
static_assert(offsetof(CMACAddress, text) == 0 && offsetof(CMACAddress, bytes) == 19);
static_assert(std::is_copy_constructible_v<CMACAddress> && std::is_copy_assignable_v<CMACAddress>);

struct ArgsOptionsFields {
  int count;
  char** vector;
};
static_assert(kHasFieldsOf<ArgsOptions, ArgsOptionsFields> && sizeof(ArgsOptions) == 16);
static_assert(kHasNoVirtuals<ArgsOptions> && std::is_standard_layout_v<ArgsOptions>);
static_assert(std::is_trivially_copyable_v<ArgsOptions>);

// Locks

static_assert(kHasFieldsOf<VexaProcessLock, ProcessLockFields> && sizeof(VexaProcessLock) == 72);
static_assert(kHasNoVirtuals<VexaProcessLock>);

static_assert(kHasFieldsOf<VexaToken::ACE_Token_Queue, QueueFields>);
static_assert(kHasNoVirtuals<VexaToken::ACE_Token_Queue>);

static_assert(kHasFieldsOf<VexaToken::ACE_Token_Queue_Entry, EntryFields>);
static_assert(kHasNoVirtuals<VexaToken::ACE_Token_Queue_Entry>);

static_assert(kHasFieldsOf<VexaToken, TokenFields> && kHasNoVirtuals<VexaToken>);
static_assert(std::is_same_v<ACE_thread_t, unsigned long>);

using AceQueue = ACE_Message_Queue<ACE_MT_SYNCH>;

struct MessageQueueFields : AceQueue {
  VexaToken* token;
};
static_assert(kHasFieldsOf<VexaToken_Message_Queue, MessageQueueFields>);
static_assert(kDerivesFrom<AceQueue, VexaToken_Message_Queue>);
static_assert(kDerivesFrom<ACE_Message_Queue_Base, VexaToken_Message_Queue>);
static_assert(std::has_virtual_destructor_v<VexaToken_Message_Queue>);
static_assert(!std::is_abstract_v<VexaToken_Message_Queue>);

// Wide streams

struct ReaderFields : std::istream {
  std::FILE* file;
};
struct WriterFields : std::ostream {
  std::FILE* file;
};
struct EitherFields : ReaderFields, WriterFields {
  int mode;
};

template <class Stream>
constexpr bool kIsStream = kSharesBase<std::ios, Stream>&& std::has_virtual_destructor_v<Stream> &&
                           !std::is_abstract_v<Stream> && !std::is_copy_constructible_v<Stream>;

static_assert(kHasFieldsOf<Vexawifstream, ReaderFields> && kIsStream<Vexawifstream>);
static_assert(kDerivesFrom<std::istream, Vexawifstream>);
static_assert(kHasFieldsOf<Vexawofstream, WriterFields> && kIsStream<Vexawofstream>);
static_assert(kDerivesFrom<std::ostream, Vexawofstream>);
static_assert(kHasFieldsOf<Vexawfstream, EitherFields> && kIsStream<Vexawfstream>);
static_assert(kDerivesFrom<Vexawifstream, Vexawfstream>);
static_assert(kDerivesFrom<Vexawofstream, Vexawfstream>);

static_assert(int{std::ios::app} == 1 && int{std::ios::in} == 8 && int{std::ios::out} == 16);

std::ptrdiff_t distance(const void* from, const void* to) {
  return static_cast<const char*>(to) - static_cast<const char*>(from);
}

TEST(Layout, TheReaderIsBeforeTheWriter) {
  const Vexawfstream stream;
  EXPECT_EQ(0, distance(&stream, static_cast<const Vexawifstream*>(&stream)));
  // Vtable, count of characters read, file handle.
  EXPECT_EQ(24, distance(&stream, static_cast<const Vexawofstream*>(&stream)));
}

TEST(Layout, TheStreamsOwnBaseComesFirst) {
  const Vexawifstream reader;
  EXPECT_EQ(0, distance(&reader, static_cast<const std::istream*>(&reader)));
  const Vexawofstream writer;
  EXPECT_EQ(0, distance(&writer, static_cast<const std::ostream*>(&writer)));
}

TEST(Layout, TheMessageQueuesBaseComesFirst) {
  const VexaToken_Message_Queue queue;
  EXPECT_EQ(0, distance(&queue, static_cast<const AceQueue*>(&queue)));
}

/// The slot of a virtual function: in the C++ ABI a pointer to it is 1 plus its offset in bytes in
/// the table.
template <class Member>
std::uintptr_t slotOf(Member operation) {
  std::uintptr_t word = 0;
  std::memcpy(&word, &operation, sizeof(word));
  EXPECT_EQ(1U, word % 2) << "not virtual";
  return word / sizeof(void*);
}

TEST(Layout, DequeueHeadIsInItsBasesSlot) {
  using Dequeue = int (AceQueue::*)(ACE_Message_Block*&, ACE_Time_Value*);
  using Own = int (VexaToken_Message_Queue::*)(ACE_Message_Block*&, ACE_Time_Value*);
  EXPECT_EQ(6U, slotOf(static_cast<Own>(&VexaToken_Message_Queue::dequeue_head)));
  EXPECT_EQ(6U, slotOf(static_cast<Dequeue>(&AceQueue::dequeue_head)));
}

/// Entry `slot` of the virtual table of `object`.
const void* entryOf(const void* object, std::size_t slot) {
  const void* const* table = nullptr;
  std::memcpy(&table, object, sizeof(table));
  return table[slot];
}

/// Expects the complete and the deleting destructor of the class `name` in two slots.
void expectDestructors(const void* object, std::size_t slot, const std::string& name) {
  SCOPED_TRACE(name);
  const std::string symbol = "_ZN" + std::to_string(name.size()) + name;
  EXPECT_EQ(::dlsym(RTLD_DEFAULT, (symbol + "D1Ev").c_str()), entryOf(object, slot));
  EXPECT_EQ(::dlsym(RTLD_DEFAULT, (symbol + "D0Ev").c_str()), entryOf(object, slot + 1));
}

TEST(Layout, DestructorsAreInTheirBasesSlots) {
  const VexaToken_Message_Queue queue;
  expectDestructors(&queue, 1, "VexaToken_Message_Queue");  // after the base's close
  const Vexawifstream reader;
  expectDestructors(&reader, 0, "Vexawifstream");
  const Vexawofstream writer;
  expectDestructors(&writer, 0, "Vexawofstream");
  const Vexawfstream either;
  expectDestructors(&either, 0, "Vexawfstream");
}

}  // namespace
