#include <quarn/Root.h>

#include <benchmark/benchmark.h>

int main(int argc, char** argv) {
    Quarn::InitTerm::init();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    Quarn::InitTerm::exit();
    return 0;
}
