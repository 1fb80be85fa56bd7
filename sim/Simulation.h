// The simulated codec process: the service, one component per stream of the
// scenario and an application, with what an engineer at the console does
// to them.
#pragma once

#include <Codec2InfoService.h>

#include <memory>
#include <string>
#include <vector>

#include "Scenario.h"
#include "SimApplication.h"
#include "SimComponent.h"

namespace sim {

class Simulation {
public:
    explicit Simulation(Scenario scenario);
    ~Simulation();

    // The application first, so that it hears of every stream. False when
    // a stream could not be registered.
    bool start();
    // The components end, removing their streams, and the application closes.
    void end();

    const Scenario& scenario() const { return mScenario; }
    // As `lshal debug <service> WORDS`, onto standard output.
    void debug(const std::vector<std::string>& words);
    // The same, as text.
    std::string debugText(const std::vector<std::string>& words);
    // The stream list as a client sees it; false when the service fails.
    bool printStreams();
    bool capture(uint32_t streamId, const std::string& path);
    void killApplication();

private:
    Scenario mScenario;
    ::android::sp<::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoService>
            mService;
    std::unique_ptr<SimApplication> mApplication;
    std::vector<std::shared_ptr<SimComponent>> mComponents;
};

}  // namespace sim
