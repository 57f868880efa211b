// SPDX-License-Identifier: MIT

#include "core/events/FEvent.h"
#include "core/threads/FThreadLock.h"

#include <benchmark/benchmark.h>
#include <boost/signals2.hpp>

#include <memory>
#include <vector>

namespace {

struct Source {};

struct Listener {
    void received(Source*, int& value) { total += value; }
    long total = 0;
};

template <int Handlers>
void ours(benchmark::State& state) {
    std::vector<Listener> listeners(Handlers);
    Kvs::FEvent<Source, int> event;
    for (Listener& listener : listeners) {
        event.add(&listener, &Listener::received);
    }
    Source source;
    int value = 1;
    for (auto _ : state) {
        event.raise(&source, value);
        benchmark::ClobberMemory();
    }
}

template <int Handlers>
void signals2(benchmark::State& state) {
    std::vector<Listener> listeners(Handlers);
    boost::signals2::signal<void(Source*, int&)> signal;
    for (Listener& listener : listeners) {
        signal.connect([&listener](Source* source, int& value) { listener.received(source, value); });
    }
    Source source;
    int value = 1;
    for (auto _ : state) {
        signal(&source, value);
        benchmark::ClobberMemory();
    }
}

struct Handler {
    virtual void received(Source*, int& value) = 0;
    virtual ~Handler() = default;
};

// There are two kinds, so that the compiler cannot replace the virtual calls by plain ones.
struct Adder : Handler {
    void received(Source*, int& value) override { total += value; }
    long total = 0;
};
struct Subtractor : Handler {
    void received(Source*, int& value) override { total -= value; }
    long total = 0;
};

/// Measures the least cost of an event: its lock, and one virtual call for each handler.
template <int Handlers>
void bare(benchmark::State& state) {
    std::vector<std::unique_ptr<Handler>> handlers;
    for (int i = 0; i < Handlers; ++i) {
        if (state.thread_index() == 0) {
            handlers.push_back(std::make_unique<Adder>());
        } else {
            handlers.push_back(std::make_unique<Subtractor>());
        }
    }
    benchmark::DoNotOptimize(handlers.data());
    Kvs::FThreadLock lock;
    Source source;
    int value = 1;
    for (auto _ : state) {
        const Kvs::FLockGuard guard(lock);
        for (const auto& handler : handlers) {
            handler->received(&source, value);
        }
        benchmark::ClobberMemory();
    }
}

BENCHMARK_TEMPLATE(ours, 1)->Name("event_1/ours");
BENCHMARK_TEMPLATE(signals2, 1)->Name("event_1/signals2");
BENCHMARK_TEMPLATE(bare, 1)->Name("event_1/bare");
BENCHMARK_TEMPLATE(ours, 8)->Name("event_8/ours");
BENCHMARK_TEMPLATE(signals2, 8)->Name("event_8/signals2");
BENCHMARK_TEMPLATE(bare, 8)->Name("event_8/bare");

} // namespace
