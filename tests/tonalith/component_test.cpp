// The component as the engine reaches it: creation by name, identity,
// reference counts, failure statuses, and use from several threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <functional>
#include <limits>
#include <thread>

#include "tonalith/fft.h"
#include "tonalith_test_util.h"

namespace orvane::test {
namespace {

TEST(TonalithComponent, CreatedByNameAndQueriedLikeACleaningRun) {
  ComPtr<ITonalith> t = CreateTonalith();
  ASSERT_TRUE(t);
  CLSID clsid;
  ASSERT_EQ(CLSIDFromProgID("Tonalith.TonalithObj", &clsid), S_OK);
  EXPECT_EQ(clsid, GUID::FromString("{3F1C2B7A-8D4E-4B6F-9A21-5C7E0D9B4A13}"));
  EXPECT_EQ(IID_ITonalith, GUID::FromString("{BFA6298C-6826-4074-B353-192742659D95}"));

  // Both interfaces answer with the same object.
  ComPtr<IUnknown> unknown;
  ASSERT_EQ(t->QueryInterface(IID_IUnknown, unknown.Out()), S_OK);
  EXPECT_EQ(static_cast<void*>(unknown.Get()), static_cast<void*>(t.Get()));

  void* p = reinterpret_cast<void*>(1);
  EXPECT_EQ(t->QueryInterface(IID_IClassFactory, &p), E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(t->QueryInterface(IID_ITonalith, nullptr), E_POINTER);
}

TEST(TonalithComponent, OneReferenceCountPerObject) {
  ComPtr<ITonalith> t = CreateTonalith();
  ASSERT_TRUE(t);
  ITonalith* raw = t.Detach();  // holds the creation reference: 1
  EXPECT_EQ(raw->AddRef(), 2u);
  ComPtr<IUnknown> unknown;
  ASSERT_EQ(raw->QueryInterface(IID_IUnknown, unknown.Out()), S_OK);  // 3
  EXPECT_EQ(raw->Release(), 2u);
  unknown.Reset();  // 1
  // A second object counts on its own.
  ComPtr<ITonalith> other = CreateTonalith();
  ASSERT_TRUE(other);
  EXPECT_EQ(other->AddRef(), 2u);
  EXPECT_EQ(other->Release(), 1u);
  EXPECT_EQ(raw->Release(), 0u);  // gone (the sanitizer build checks the delete)
}

TEST(TonalithComponent, FactoryRefusesAggregationAndUnknownInterfaces) {
  RegisterTonalith();
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(ClassRegistry::Instance().GetClassObject(TonalithClsid(), IID_IClassFactory,
                                                     factory.Out()),
            S_OK);
  void* p = nullptr;
  ComPtr<IUnknown> outer;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, outer.Out()), S_OK);
  EXPECT_EQ(factory->CreateInstance(outer.Get(), IID_IUnknown, &p), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, &p), E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(factory->LockServer(true), S_OK);
  EXPECT_EQ(factory->LockServer(false), S_OK);
}

TEST(TonalithComponent, UnregisteredClassCannotBeCreated) {
  ComPtr<ITonalith> survivor = CreateTonalith();
  ASSERT_TRUE(survivor);
  ASSERT_EQ(ClassRegistry::Instance().Unregister(TonalithClsid()), S_OK);

  CLSID clsid;
  EXPECT_EQ(CLSIDFromProgID(kTonalithProgId, &clsid), CO_E_CLASSSTRING);
  ComPtr<IUnknown> unknown;
  EXPECT_EQ(CoCreateInstance(TonalithClsid(), nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                             unknown.Out()),
            REGDB_E_CLASSNOTREG);
  EXPECT_FALSE(unknown);

  // An object made before keeps working; registering again (twice) restores
  // creation by name.
  double first = -1.0;
  double second = -1.0;
  EXPECT_EQ(survivor->Statistics({1.0, 3.0}, &first, &second), S_OK);
  EXPECT_DOUBLE_EQ(second, 2.0);
  RegisterTonalith();
  RegisterTonalith();
  EXPECT_TRUE(ClassRegistry::Instance().IsRegistered(TonalithClsid()));
  EXPECT_TRUE(CreateTonalith());
}

// Every way to fail: a negative status and the output left empty, even when
// the caller handed in an array that was not empty.
TEST(TonalithComponent, FailuresAnswerNegativeStatusAndEmptyOutputs) {
  ComPtr<ITonalith> t = CreateTonalith();
  ASSERT_TRUE(t);
  const std::vector<double> junk{7.0, 8.0, 9.0};
  const double nan = std::numeric_limits<double>::quiet_NaN();
  double d = 0.0;
  using Call = std::function<HRESULT(std::vector<double>&)>;
  struct Case {
    const char* what;
    Call call;
  };
  const std::vector<double> x8 = RandomVector(8, 1);
  const std::vector<Case> cases = {
      {"Fft length 0", [&](auto& out) { return t->Fft({}, 0, out); }},
      {"Fft length 1", [&](auto& out) { return t->Fft({1.0}, 1, out); }},
      {"Fft length 6", [&](auto& out) { return t->Fft(RandomVector(6, 2), 6, out); }},
      {"Fft negative", [&](auto& out) { return t->Fft(x8, -8, out); }},
      {"Fft length != size", [&](auto& out) { return t->Fft(x8, 16, out); }},
      {"Fft size > length", [&](auto& out) { return t->Fft(x8, 4, out); }},
      {"Power empty", [&](auto& out) { return t->PowerSpectrum({}, out, &d); }},
      {"Power not ours", [&](auto& out) { return t->PowerSpectrum(x8, out, &d); }},
      // A transform of N points is N+3 values, its length last.
      {"Power length 3", [&](auto& out) { return t->PowerSpectrum({0, 0, 0, 0, 0, 3}, out, &d); }},
      {"Power length 2.5", [&](auto& out) { return t->PowerSpectrum({0, 0, 0, 0, 2.5}, out, &d); }},
      {"Power length NaN", [&](auto& out) { return t->PowerSpectrum({0, 0, 0, 0, nan}, out, &d); }},
      {"Power length 1", [&](auto& out) { return t->PowerSpectrum({0, 0, 0, 1}, out, &d); }},
      {"Power short", [&](auto& out) { return t->PowerSpectrum({1, 0, 1, 0, 4}, out, &d); }},
      {"Power long", [&](auto& out) { return t->PowerSpectrum({1, 0, 1, 0, 0, 2}, out, &d); }},
      {"Power no overall", [&](auto& out) { return t->PowerSpectrum({1, 0, 1, 0, 2}, out, nullptr); }},
      {"Median length > size", [&](auto& out) { return t->MedianFilter(x8, 9, 3, out, &d); }},
      {"Median length < 0", [&](auto& out) { return t->MedianFilter(x8, -1, 3, out, &d); }},
      {"Median NaN", [&](auto& out) { return t->MedianFilter({1, nan, 2}, 3, 3, out, &d); }},
      {"Filter empty b", [&](auto& out) { return t->ApplyFilter({}, {1.0}, x8, 0, out); }},
      {"Filter empty a", [&](auto& out) { return t->ApplyFilter({1.0}, {}, x8, 0, out); }},
      {"Filter a0 0", [&](auto& out) { return t->ApplyFilter({1.0}, {0.0, 1.0}, x8, 0, out); }},
      {"Filter NaN", [&](auto& out) { return t->ApplyFilter({nan}, {1.0}, x8, 0, out); }},
      {"Filter state", [&](auto& out) { return t->ApplyFilter({1.0}, {1.0}, x8, 1, out); }},
      {"BandStop -1", [&](auto& out) { return t->BandStop(-1, x8, out); }},
      {"BandStop 5", [&](auto& out) { return t->BandStop(5, x8, out); }},
  };
  for (const Case& c : cases) {
    std::vector<double> out = junk;
    const HRESULT hr = c.call(out);
    EXPECT_LT(hr, 0) << c.what;
    EXPECT_TRUE(out.empty()) << c.what;
  }
}

// A caller that hands in one array as input and output gets the same answer
// as with two arrays.
TEST(TonalithComponent, OutputMayBeTheInputArray) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::vector<double> x = RandomVector(64, 3);
  double d = 0.0;
  std::vector<double> want, same = x;
  ASSERT_EQ(t->Fft(x, 64, want), S_OK);
  ASSERT_EQ(t->Fft(same, 64, same), S_OK);
  EXPECT_EQ(same, want);
  std::vector<double> power;
  ASSERT_EQ(t->PowerSpectrum(want, power, &d), S_OK);
  ASSERT_EQ(t->PowerSpectrum(same, same, &d), S_OK);
  EXPECT_EQ(same, power);
  same = x;
  ASSERT_EQ(t->MedianFilter(x, 64, 5, want, &d), S_OK);
  ASSERT_EQ(t->MedianFilter(same, 64, 5, same, &d), S_OK);
  EXPECT_EQ(same, want);
  same = x;
  ASSERT_EQ(t->ApplyFilter({0.5, 0.5}, {1.0, -0.2}, x, 0, want), S_OK);
  ASSERT_EQ(t->ApplyFilter({0.5, 0.5}, {1.0, -0.2}, same, 0, same), S_OK);
  EXPECT_EQ(same, want);
  same = x;
  ASSERT_EQ(t->BandStop(1, x, want), S_OK);
  ASSERT_EQ(t->BandStop(1, same, same), S_OK);
  EXPECT_EQ(same, want);
}

// Several objects on several threads, each asking for lengths in a different
// order, so that plans are made while others run (no other test asks for
// 2^14, 2^17 or 2^18): every result equals the one computed alone afterwards.
TEST(TonalithComponent, ObjectsOnSeveralThreadsShareThePlans) {
  const std::vector<int> exponents{3, 5, 7, 9, 11, 13, 14, 15, 17, 18};
  std::vector<std::vector<double>> inputs;
  for (int e : exponents) inputs.push_back(RandomVector(std::size_t{1} << e, static_cast<unsigned>(e)));
  std::vector<std::size_t> slots(exponents.size());
  std::iota(slots.begin(), slots.end(), std::size_t{0});
  auto run = [&](ITonalith* t, const std::vector<std::size_t>& order) {
    std::vector<std::vector<double>> powers(inputs.size());
    for (std::size_t slot : order) {
      std::vector<double> spectrum;
      double overall = 0.0;
      const int len = static_cast<int>(inputs[slot].size());
      EXPECT_EQ(t->Fft(inputs[slot], len, spectrum), S_OK);
      EXPECT_EQ(t->PowerSpectrum(spectrum, powers[slot], &overall), S_OK);
    }
    return powers;
  };
  constexpr int kThreads = 4;
  std::vector<std::vector<std::vector<double>>> results(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      ComPtr<ITonalith> t = CreateTonalith();
      std::vector<std::size_t> order = slots;
      std::rotate(order.begin(), order.begin() + i * 3, order.end());
      if (i % 2) std::reverse(order.begin(), order.end());
      for (int round = 0; round < 2; ++round) results[i] = run(t.Get(), order);
    });
  }
  for (auto& th : threads) th.join();
  ComPtr<ITonalith> single = CreateTonalith();
  const auto expected = run(single.Get(), slots);
  for (int i = 0; i < kThreads; ++i) EXPECT_EQ(results[i], expected) << "thread " << i;
}

TEST(TonalithComponent, NamesItsFftBackend) {
  const std::string name = tonalith::FftBackendName();
  EXPECT_TRUE(name == "FFTW" || name == "kissfft") << name;
}

}  // namespace
}  // namespace orvane::test
