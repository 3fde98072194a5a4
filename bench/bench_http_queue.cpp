// Throughput of the HTTP queue: small GETs through the queue to the local
// test server (both in this process), requests per second and the process
// CPU time per request (the queue, the network thread and the server).
#include "TestHttpServer.h"

#include "support/BundleInfo.h"
#include "web/WMHTTPQueue.h"

#include <QCoreApplication>
#include <QStandardPaths>

#include <benchmark/benchmark.h>

#include <ctime>

namespace {

class CountingOwner : public QObject
{
    Q_OBJECT
public:
    int answers = 0;
    int errors = 0;
    Q_INVOKABLE void got(const QVariantMap& answer)
    {
        ++answers;
        if (WMHTTPQueue::answerHasError(answer))
            ++errors;
    }
};

double processCpuSeconds()
{
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void BM_QueueSmallGets(benchmark::State& state)
{
    const int requests = static_cast<int>(state.range(0));
    TestHttpServer server;
    if (!server.start()) {
        state.SkipWithError("cannot listen on 127.0.0.1");
        return;
    }
    server.setHandler([](const TestHttpServer::Request&) {
        return TestHttpServer::Response::text(QByteArray(512, 'x'), "text/html");
    });
    WMHTTPQueue queue;
    CountingOwner owner;
    int round = 0;
    double cpu = 0.0;
    for (auto _ : state) {
        owner.answers = 0;
        const double cpuStart = processCpuSeconds();
        for (int i = 0; i < requests; ++i)
            queue.addURL(server.url(QStringLiteral("/r%1/%2").arg(round).arg(i)), &owner, "got", false,
                         false);
        if (!TestHttpServer::waitFor([&] { return owner.answers == requests; }, 60000)) {
            state.SkipWithError("answers missing");
            return;
        }
        cpu += processCpuSeconds() - cpuStart;
        ++round;
    }
    if (owner.errors > 0)
        state.SkipWithError("some requests failed");
    const double total = static_cast<double>(state.iterations()) * requests;
    state.SetItemsProcessed(static_cast<int64_t>(total));
    state.counters["cpu_us_per_req"] = benchmark::Counter(cpu * 1e6 / total);
}
BENCHMARK(BM_QueueSmallGets)->Arg(300)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    BundleInfo::applyToApplication();
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

#include "bench_http_queue.moc"
