// What the own-window check costs on every key typed anywhere, on a private X server: with a
// window manager naming the active window (answered from what its notices left), and without
// one (asked of the server each time).
//
// Run: ./build/bench/bench_frontmost   (needs Xvfb)

#include "platform/x11/X11KeyInjector.h"
#include "support/XvfbServer.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>

// X11 last.
#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace {

X11KeyInjector* injector = nullptr;
Display* windowManager = nullptr;
Window activeWindow = 0;

void announce(bool present)
{
    const Window root = DefaultRootWindow(windowManager);
    const Atom active = XInternAtom(windowManager, "_NET_ACTIVE_WINDOW", False);
    if (present)
        XChangeProperty(windowManager, root, active, XA_WINDOW, 32, PropModeReplace,
                        reinterpret_cast<unsigned char*>(&activeWindow), 1);
    else
        XDeleteProperty(windowManager, root, active);
    XSync(windowManager, False);
}

void ownWindowCheck(benchmark::State& state)
{
    announce(state.range(0) != 0);
    for (auto _ : state)
        benchmark::DoNotOptimize(injector->isOwnApplicationFrontmost());
}
BENCHMARK(ownWindowCheck)->ArgName("windowManager")->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    XvfbServer server;
    if (!server.isRunning()) {
        std::fprintf(stderr, "needs Xvfb\n");
        return 1;
    }
    const std::unique_ptr<Display, decltype(&XCloseDisplay)> display(XOpenDisplay(nullptr),
                                                                     &XCloseDisplay);
    windowManager = display.get();
    activeWindow = XCreateSimpleWindow(windowManager, DefaultRootWindow(windowManager), 0, 0, 100,
                                       100, 0, 0, 0);
    XMapWindow(windowManager, activeWindow);
    XSetInputFocus(windowManager, activeWindow, RevertToParent, CurrentTime);
    XSync(windowManager, False);
    X11KeyInjector keys;
    injector = &keys;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
