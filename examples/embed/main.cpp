// embed URL COUNT: downloads numbered segments, each in the best quality that the network carries.
#include <reinokeitro.h>

#include <cstdio>

using namespace hascommon;

struct Output : ICurlCB { // Called on the engine's transfer thread.
    void OnDownloadBegin(UnitObject*) override {}
    void OnRedirected(UnitObject*, std::string) override {}
    int OnDataReceived(UnitObject*, int, unsigned char* data, unsigned int size) override {
        std::fwrite(data, 1, size, stdout);
        return 0; // Taken. For any other result the same bytes are offered again.
    }
};

int main(int argc, char** argv) {
    Output output;
    BandwidthChecker checker;
    Curl engine(CURL_THREAD_PACED, 1000, "embed");
    engine.Init(&output, &checker);
    engine.StartLoop();
    checker.ParseComp();
    checker.Start();
    AdaptiveSegSwitcher switcher;
    switcher.Init(&checker);
    switcher.ResetData({400000, 800000, 1600000}, false);

    int stream = 0;
    for (int number = 0; argc == 3 && number < std::stoi(argv[2]); ++number) {
        const std::string name = std::to_string(stream) + "/" + std::to_string(number);
        UnitObject* unit = nullptr;
        engine.BeginDownload2(engine.GetRequestKey(), argv[1] + name, "", false, unit, false,
                              nullptr);
        int code = 0;
        for (long date = 0; unit && !engine.WaitCompleted(code, date, 50);)
            checker.OnPolling(has_getTime()); // Makes a sample every 250 ms.
        std::fprintf(stderr, "%s: code %d\n", name.c_str(), code);
        if (engine.EndDownload(unit) != 0)
            return 1;
        const int next = switcher.ProcessAdaptiveSeg(stream, 10000); // As if 10 s were buffered.
        stream = next < 0 ? stream : next;
    }
    return argc == 3 ? 0 : 2;
}
