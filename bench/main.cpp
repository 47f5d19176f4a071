#include <benchmark/benchmark.h>

#include <QCoreApplication>

#include <cstdlib>

int main(int argc, char **argv)
{
    // A fixed locale keeps the formatting benchmarks comparable between machines.
    setenv("LC_ALL", "en_US.UTF-8", 0);
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
