// RWCString: permanent strings, the memory of all others, and strings that threads share.

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "Zel/Zel_PoolAllocator.h"
#include "rw/RWCString.h"
#include "support/StringText.h"

namespace {

using namespace std::string_literals;

// --------------------------------------------------------------- Permanent

TEST(RWCString, PermanentStringsHaveTheSameContents) {
  for (const std::string& bytes :
       {"x"s, "a\0b"s, std::string(100, 'y'), std::string(9000, 'z'), std::string(200000, 'w')}) {
    const RWCString text = Bytes(bytes);
    const RWCString permanent = RWCString::Permanent(text);
    EXPECT_EQ(text, permanent);
    EXPECT_NE(text.data(), permanent.data());
    EXPECT_EQ('\0', permanent.data()[permanent.length()]);
    EXPECT_EQ(text.hash(), permanent.hash());
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(permanent.data()) % 4);
    EXPECT_EQ(permanent.data(), RWCString::Permanent(permanent).data());
  }
  EXPECT_TRUE(RWCString::Permanent(RWCString()).isNull());
}

TEST(RWCString, PermanentObjectsStandBesideTheirBytes) {
  for (const std::string& bytes :
       {"x"s, "a\0b"s, std::string(100, 'y'), std::string(9000, 'z'), std::string(200000, 'w')}) {
    const RWCString text = Bytes(bytes);
    const RWCString* const object = RWCString::PermanentObject(text);
    EXPECT_EQ(bytes, Text(*object));
    EXPECT_EQ('\0', object->data()[object->length()]);
    EXPECT_EQ(text.hash(), object->hash());
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(object) % alignof(RWCString));
    EXPECT_LT(object->data() - reinterpret_cast<const char*>(object), 32);

    // A text that is permanent already is not copied again; each object is another.
    const RWCString* const again = RWCString::PermanentObject(*object);
    EXPECT_NE(object, again);
    EXPECT_EQ(object->data(), again->data());
    RWCString changed(*object);
    changed.append("!");
    EXPECT_EQ(bytes, Text(*object));
  }
  EXPECT_TRUE(RWCString::PermanentObject(RWCString())->isNull());
  RWCString emptied("text");
  emptied.resize(0);
  EXPECT_TRUE(RWCString::PermanentObject(emptied)->isNull());
}

TEST(RWCString, DroppedPermanentObjectsMakeRoomForTheNext) {
  for (const std::string& bytes : {"x"s, ""s, "a\0b"s, std::string(1000, 'y')}) {
    const RWCString text = Bytes(bytes);
    const RWCString* const kept = RWCString::PermanentObject(Bytes("kept"));
    const RWCString* const dropped = RWCString::PermanentObject(text);
    RWCString::DropPermanentObject(dropped);
    EXPECT_EQ(dropped, RWCString::PermanentObject(text));
    // Another has been made since: the memory is lost, and nothing else happens.
    RWCString::DropPermanentObject(kept);
    EXPECT_NE(kept, RWCString::PermanentObject(Bytes("next")));
    EXPECT_EQ(bytes, Text(*dropped));
    EXPECT_EQ("kept", Text(*kept));
  }
  // A text that is permanent already stays when one of its objects goes.
  const RWCString permanent = RWCString::Permanent("permanent already");
  RWCString::DropPermanentObject(RWCString::PermanentObject(permanent));
  RWCString::PermanentObject(Bytes("in its place"));
  EXPECT_STREQ("permanent already", permanent.data());
  // Large ones have memory of their own, whatever their size; LeakSanitizer and
  // AddressSanitizer look after it.
  for (const std::size_t length : {65506u, 65507u, 65508u, 200000u}) {
    const RWCString large = Bytes(std::string(length, 'z'));
    const RWCString* const first = RWCString::PermanentObject(large);
    RWCString::DropPermanentObject(RWCString::PermanentObject(large));
    EXPECT_EQ(large, *first);
    RWCString::DropPermanentObject(first);
    EXPECT_EQ(large, *RWCString::PermanentObject(large));
  }
}

TEST(RWCString, PermanentTextOutlivesAllItsStrings) {
  const char* bytes = nullptr;
  {
    const RWCString permanent = RWCString::Permanent("stays where it is");
    bytes = permanent.data();
    const RWCString copy(permanent);
    EXPECT_EQ(bytes, copy.data());
  }
  EXPECT_STREQ("stays where it is", bytes);
}

TEST(RWCString, ChangingACopyOfAPermanentStringUnsharesIt) {
  const RWCString permanent = RWCString::Permanent("constant");
  RWCString appended(permanent), written(permanent), cut(permanent), replaced(permanent);
  appended.append("!");
  written[0] = 'K';
  cut.resize(5);
  replaced.replace(0, 3, "in");
  EXPECT_STREQ("constant", permanent.data());
  EXPECT_STREQ("constant!", appended.data());
  EXPECT_STREQ("Konstant", written.data());
  EXPECT_STREQ("const", cut.data());
  EXPECT_STREQ("instant", replaced.data());
}

TEST(RWCString, PermanentStringsDoNotOverlap) {
  std::vector<RWCString> texts;
  for (int i = 0; i < 5000; ++i) {
    texts.push_back(RWCString::Permanent(
        RWCString("text ").append(std::to_string(i).c_str()).append('.', std::size_t(i % 97))));
  }
  for (int i = 0; i < 5000; ++i) {
    const std::string expected =
        "text " + std::to_string(i) + std::string(static_cast<std::size_t>(i % 97), '.');
    ASSERT_EQ(expected, Text(texts[static_cast<std::size_t>(i)]));
  }
}

// -------------------------------------------------------------- Its memory

TEST(RWCString, HoldsTextsOfEverySize) {
  for (int round = 0; round < 3; ++round) {
    std::vector<RWCString> texts;
    for (std::size_t length = 0; length <= 300; ++length) {
      texts.push_back(Bytes(std::string(length, static_cast<char>('a' + length % 26))));
    }
    for (std::size_t length = 0; length <= 300; ++length) {
      RWCString& text = texts[length];
      ASSERT_EQ(std::string(length, static_cast<char>('a' + length % 26)), Text(text));
      // A change finds room for exactly what it needs.
      text.append('!', length % 40);
      ASSERT_EQ(length + length % 40, text.length());
      ASSERT_EQ('\0', text.data()[text.length()]);
    }
    for (std::size_t length = 0; length <= 300; ++length) {
      ASSERT_EQ(
          std::string(length, static_cast<char>('a' + length % 26)) + std::string(length % 40, '!'),
          Text(texts[length]));
    }
  }
}

// Under AddressSanitizer strings have no pools.
std::vector<Zel_PoolAllocator*> PoolsOfStrings() {
  std::vector<Zel_PoolAllocator*> pools;
  Zel_PoolAllocator::VisitAll([&pools](Zel_PoolAllocator& pool) {
    if (pool.GetName() == "RWCString"s) pools.push_back(&pool);
  });
  return pools;
}

std::uint64_t PooledStrings() {
  std::uint64_t sum = 0;
  for (Zel_PoolAllocator* const pool : PoolsOfStrings()) sum += pool->GetStats().elements_in_use;
  return sum;
}

TEST(RWCString, ShortTextsStandInPools) {
  const std::vector<Zel_PoolAllocator*> pools = PoolsOfStrings();
  const std::uint64_t before = PooledStrings();
  const std::size_t longest = pools.empty() ? 0 : pools.back()->GetElementSize() - 17;
  for (std::size_t length = 1; length <= 300; ++length) {
    const RWCString text = Bytes(std::string(length, 'x'));
    const RWCString shared(text);
    EXPECT_EQ(before + (length <= longest ? 1 : 0), PooledStrings()) << "length " << length;
  }
  EXPECT_EQ(before, PooledStrings());
}

TEST(RWCString, GoesToTheHeapWhenAPoolYieldsNothing) {
  for (std::size_t length = 1; length <= 130; ++length) {
    const std::uint64_t before = PooledStrings();
    for (Zel_PoolAllocator* const pool : PoolsOfStrings()) pool->FailNextAllocations(3);
    RWCString first = Bytes(std::string(length, 'x'));
    const RWCString second = Bytes(std::string(length, 'y'));
    EXPECT_EQ(before, PooledStrings());
    first.append('!', 1);
    for (Zel_PoolAllocator* const pool : PoolsOfStrings()) pool->FailNextAllocations(0);
    EXPECT_EQ(std::string(length, 'x') + "!", Text(first));
    EXPECT_EQ(std::string(length, 'y'), Text(second));
  }
}

TEST(RWCString, MayEndOnAnotherThreadThanItBegan) {
  const std::uint64_t before = PooledStrings();
  std::vector<RWCString> texts;
  std::thread([&texts] {
    for (std::size_t i = 0; i < 20000; ++i) texts.push_back(Bytes(std::string(1 + i % 150, 'a')));
  }).join();
  for (std::size_t i = 0; i < texts.size(); ++i) {
    ASSERT_EQ(std::string(1 + i % 150, 'a'), Text(texts[i]));
  }
  std::thread([&texts] {
    for (std::size_t i = 0; i < texts.size(); i += 2) texts[i] = RWCString();
  }).join();
  texts.clear();
  EXPECT_EQ(before, PooledStrings());
}

TEST(RWCString, MayEndWithItsThread) {
#if defined(__MINGW32__)
  GTEST_SKIP() << "mingw frees thread_local objects before it destroys them";
#endif
  const std::uint64_t before = PooledStrings();
  for (int i = 0; i < 3; ++i) {
    std::thread([] {
      thread_local RWCString kept;
      kept = Bytes(std::string(40, 'k'));
      thread_local std::vector<RWCString> many(100, kept);
      for (std::size_t k = 0; k < many.size(); ++k) many[k].append('!', k);
    }).join();
  }
  EXPECT_EQ(before, PooledStrings());
}

// ----------------------------------------------------------------- Threads

TEST(RWCString, ThreadsShareARepresentation) {
  RWCString counted("a text that several threads hold");
  const RWCString permanent = RWCString::Permanent("a text that stays");
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([mine = counted, permanent, &wrong] {
      for (int i = 0; i < 3000; ++i) {
        RWCString copy(mine);
        const RWCString other(permanent);
        if (copy.hash() != mine.hash() || other != "a text that stays") ++wrong;
        copy.append("!");
        if (copy.length() != mine.length() + 1) ++wrong;
        RWCString written(mine);
        written[0] = 'A';
        if (mine.data()[0] != 'a') ++wrong;
      }
    });
  }
  counted = "something else";
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, wrong);
}

TEST(RWCString, ThreadsMakePermanentStrings) {
  std::vector<std::thread> threads;
  std::vector<std::vector<RWCString>> made(4);
  for (std::size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&mine = made[t], t] {
      for (int i = 0; i < 2000; ++i) {
        mine.push_back(RWCString::Permanent(std::to_string(t * 10000 + std::size_t(i)).c_str()));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t t = 0; t < 4; ++t) {
    for (std::size_t i = 0; i < 2000; ++i) {
      ASSERT_EQ(std::to_string(t * 10000 + i), Text(made[t][i]));
    }
  }
}

// ---------------------------------------------------------- Static objects

// Static strings may be made, copied and destroyed in any order of files.
const RWCString g_early_text = RWCString("early ") + "text";
const RWCString g_early_permanent = RWCString::Permanent(g_early_text);

TEST(RWCString, WorksWhileStaticObjectsAreMade) {
  EXPECT_STREQ("early text", g_early_text.data());
  EXPECT_EQ(g_early_text, g_early_permanent);
}

}  // namespace
