#include <gtest/gtest.h>

#include <ctime>
#include <future>
#include <thread>

#include "DecoderPool.h"
#include "FakeEngine.h"

namespace orvx::test {
namespace {

constexpr std::size_t kSecond = 16000;

std::vector<std::int16_t> Audio(std::size_t seconds) {
    return std::vector<std::int16_t>(seconds * kSecond);
}

class DecoderPoolTest : public testing::Test {
  protected:
    using Result = std::future<JobResult>;
    using Job = DecoderPool::JobHandle;

    // Opens and feeds.
    Job Speak(std::size_t seconds, const JobSettings& settings = {1, 0, 1}) {
        const Job job = pool_.Open(settings);
        pool_.Feed(job, Audio(seconds));
        return job;
    }
    static Result CloseIn(DecoderPool* pool, const Job& job) {
        auto promise = std::make_shared<std::promise<JobResult>>();
        pool->Close(job, [promise](JobResult result) { promise->set_value(std::move(result)); });
        return promise->get_future();
    }
    Result Close(const Job& job) { return CloseIn(&pool_, job); }
    // Fed at once, with nothing decoded before the end.
    static Result Send(DecoderPool* pool, std::size_t seconds, std::uint64_t owner,
                       const ResourcePtr& with = nullptr) {
        const Job job = pool->Open({owner, 31 * kSecond, 1, nullptr, {true, with}});
        pool->Feed(job, Audio(seconds));
        return CloseIn(pool, job);
    }
    static std::string Text(Result result) {
        EXPECT_EQ(result.wait_for(std::chrono::minutes(1)), std::future_status::ready);
        const JobResult got = result.get();
        return got.engine_error.value_or(got.heard.sentences.empty() ? ""
                                                                     : got.heard.sentences[0].text);
    }
    std::string Text(const Job& job) { return Text(Close(job)); }
    void WaitForFed(std::size_t seconds) {
        engine_.WaitFor([=](const auto& s) { return s.samples_fed == seconds * kSecond; });
    }

    FakeEngine engine_;
    DecoderPool pool_{engine_.Factory(), 1};
};

TEST_F(DecoderPoolTest, DecodesWhileAudioArrives) {
    const Job job = Speak(2);
    WaitForFed(2);
    pool_.Feed(job, Audio(1));
    EXPECT_EQ(Text(job), Words(3));
    EXPECT_EQ(engine_.Get().starts, 1);
    const Job opened = Speak(2, {1, 3 * kSecond, 1});  // not begun before the opening is there
    pool_.Feed(opened, Audio(2));
    WaitForFed(7);
    EXPECT_EQ(engine_.Get().longest_opening, 3 * kSecond);
    EXPECT_EQ(Text(opened), Words(4));
    EXPECT_EQ(Text(Speak(1, {1, 3 * kSecond, 1})), Words(1));
    const Job odd = Speak(0);
    pool_.Feed(odd, std::vector<std::int16_t>(kSecond - 1));
    EXPECT_EQ(Text(odd), "");
    EXPECT_EQ(engine_.Get().samples_fed, 9 * kSecond - 1) << "the last slice may be short";
    EXPECT_EQ(Text(Speak(0)), "");
}

TEST_F(DecoderPoolTest, ACompleteStretchTakesTheDecoderOfAStalledOneWhichLosesNothing) {
    const Job stalled = Speak(2);
    WaitForFed(2);
    EXPECT_EQ(Text(Speak(1, {2, 0, 1})), Words(1));
    pool_.Feed(stalled, Audio(1));
    EXPECT_EQ(Text(stalled), Words(3));
}

TEST_F(DecoderPoolTest, AStretchThatSpeaksTakesTheDecoderOfASilentOne) {
    Speak(1);
    WaitForFed(1);
    const Job speaking = Speak(0, {2, 0, 1});
    engine_.WaitFor([&](const auto& s) {  // the silent one counts as such after a second
        pool_.Feed(speaking, std::vector<std::int16_t>(1600));
        return s.starts >= 2;
    });
}

TEST_F(DecoderPoolTest, OwnersTakeTurnsAndThoseThatYieldComeLast) {
    const auto yields = std::make_shared<std::atomic<bool>>(false);
    engine_.HoldUp();
    std::vector<Result> results;
    for (int i = 0; i < 4; ++i) results.push_back(Close(Speak(2, {1, 0, 1, yields})));
    engine_.WaitForHeldUp(1);
    *yields = true;
    for (int i = 0; i < 4; ++i) results.push_back(Close(Speak(1, {2, 0, 1})));
    results.push_back(Close(Speak(3, {3, 0, 1})));
    engine_.GoOn();
    for (Result& result : results) Text(std::move(result));
    const std::vector<std::string> order{Words(2), Words(1), Words(3), Words(1), Words(1),
                                         Words(1), Words(2), Words(2), Words(2)};
    EXPECT_EQ(engine_.Get().finished, order);
    EXPECT_EQ(engine_.Get().starts, 9) << "none is begun and taken back";
}

TEST_F(DecoderPoolTest, AStretchThatYieldsGivesItsDecoderBack) {
    engine_.Set([](auto* s) { s->first_steps = 2; });
    for (const bool at_its_end : {false, true}) {
        SCOPED_TRACE(at_its_end);
        const int before = engine_.Get().starts;
        std::promise<Result> prompt;
        engine_.Set([&](FakeEngineState* s) {
            (at_its_end ? s->on_next_step : s->on_next_feed) = [&] {
                prompt.set_value(Close(Speak(1, {2, 0, 1})));
            };
        });
        const Job job = Speak(30, {1, 31 * kSecond, 1, std::make_shared<std::atomic<bool>>(true)});
        EXPECT_EQ(Text(job), Words(30));
        EXPECT_EQ(Text(prompt.get_future().get()), Words(1));
        const auto finished = engine_.Get().finished;
        EXPECT_EQ(finished[finished.size() - 2], Words(1));
        EXPECT_EQ(engine_.Get().starts, before + 3) << "the one that yields begins anew";
    }
}

TEST_F(DecoderPoolTest, LongAndHeavyStretchesLeaveAllDecodersButOneToOthers) {
    GrammarNetwork grammar;
    grammar.arcs.resize(10001);
    const LanguageModel model{{{20000, ""}, {30001, ""}}};
    const KeywordList keywords(101, {"", std::string(100, 'k'), 0});
    const ResourcePtr resources[] = {nullptr, std::make_shared<Resource>(Resource{1, grammar}),
                                     std::make_shared<Resource>(Resource{2, model}),
                                     std::make_shared<Resource>(Resource{3, UserWords(2001)}),
                                     std::make_shared<Resource>(Resource{4, keywords})};
    for (const ResourcePtr& resource : resources) {
        SCOPED_TRACE(resource ? resource->id : 0);
        DecoderPool pool(engine_.Factory(), 2);
        const std::size_t seconds = resource ? 2 : 20;
        const int before = engine_.Get().starts;
        Result results[4];
        engine_.HoldUp();
        results[0] = Send(&pool, seconds, 1, resource);
        engine_.WaitForHeldUp(1);
        engine_.Set([&](auto* s) {
            s->on_next_feed = [&] {
                results[1] = Send(&pool, seconds, 2, resource);
                results[2] = Send(&pool, 2, 3);
            };
        });
        results[3] = Send(&pool, seconds, 4, resource);
        engine_.WaitForHeldUp(2);
        EXPECT_EQ(engine_.Get().starts, before + 3) << "the second long one is to be begun anew";
        engine_.GoOn();
        for (Result& result : results) Text(std::move(result));
        EXPECT_EQ(engine_.Get().starts, before + 5);
    }
}

TEST_F(DecoderPoolTest, AStretchThatTurnsOutHardGivesWayLikeALongOne) {
    DecoderPool pool(engine_.Factory(), 2, {.of_short = std::chrono::milliseconds(0)});
    Result results[3];
    engine_.HoldUp();
    results[0] = Send(&pool, 2, 1);
    engine_.WaitForHeldUp(1);
    engine_.Set([&](auto* s) { s->on_next_feed = [&] { results[1] = Send(&pool, 1, 2); }; });
    results[2] = Send(&pool, 3, 3);
    engine_.WaitForHeldUp(2);
    EXPECT_EQ(engine_.Get().starts, 3) << "the second hard one is to be begun anew";
    engine_.GoOn();
    for (Result& result : results) Text(std::move(result));
    EXPECT_EQ(engine_.Get().starts, 4);
}

TEST_F(DecoderPoolTest, AStretchThatIsTooMuchWorkIsGivenUp) {
    using std::chrono::milliseconds;
    const auto work = [] {
        const std::clock_t end = std::clock() + CLOCKS_PER_SEC / 5;
        while (std::clock() < end) continue;
    };
    const auto result_of_work = [&](DecoderPool* pool) {
        engine_.Set([&](auto* s) { s->on_next_feed = work; });
        return Text(Send(pool, 2, 1));
    };
    DecoderPool lenient(engine_.Factory(), 1, {.at_least = milliseconds(0), .times_speech = 1});
    EXPECT_EQ(result_of_work(&lenient), Words(2));
    DecoderPool strict(engine_.Factory(), 1, {.at_least = milliseconds(50), .times_speech = 0});
    EXPECT_EQ(result_of_work(&strict),
              "50 ms of work on 2000 ms of speech were not enough; take a "
              "smaller resource");
    EXPECT_EQ(engine_.Get().starts, 2) << "not tried again";
    engine_.Set([&](auto* s) { s->on_next_feed = work; });
    const Job job = strict.Open({1, 0, 1});
    strict.Feed(job, Audio(1));
    engine_.WaitFor([](const auto& s) { return s.starts == 3; });
    EXPECT_EQ(Text(Send(&strict, 3, 2)), Words(3)) << "after it, for there is one decoder";
    strict.Feed(job, Audio(1));
    EXPECT_EQ(Text(CloseIn(&strict, job)), Words(2)) << "begun again at its end";
    EXPECT_EQ(engine_.Get().starts, 5);
}

TEST_F(DecoderPoolTest, StopsTheEngineInTheMiddleOfACall) {
    using std::chrono::milliseconds;
    const auto stuck_for = [&](std::optional<milliseconds> time) {
        engine_.Set([&](auto* s) { s->stuck_for = time, s->asked = 0; });
    };
    const auto wait_until_asked = [&] {
        engine_.WaitFor([](const auto& s) { return s.asked > 20; });
    };
    DecoderPool pool(engine_.Factory(), 1, {.at_least = milliseconds(5000), .times_speech = 1});
    stuck_for(milliseconds(7900));
    Result hard = Send(&pool, 2, 1);
    wait_until_asked();
    stuck_for(milliseconds(8100));
    EXPECT_EQ(Text(std::move(hard)),
              "7000 ms of work on 2000 ms of speech were not enough; take a smaller resource");
    EXPECT_EQ(engine_.Get().starts, 1) << "not tried again";

    stuck_for(milliseconds(2900));
    const Job unwanted = pool.Open({1, 0, 1});
    pool.Feed(unwanted, Audio(2));
    Result nothing = CloseIn(&pool, unwanted);
    wait_until_asked();
    pool.Cancel(unwanted);
    stuck_for(milliseconds(2900));
    wait_until_asked();  // such a call may well end by itself
    stuck_for(milliseconds(3100));
    engine_.WaitFor([](const auto& s) { return s.asked > 0; });
    stuck_for(std::nullopt);
    EXPECT_EQ(Text(Send(&pool, 1, 2)), Words(1));
    EXPECT_THROW(nothing.get(), std::future_error);

    DecoderPool two(engine_.Factory(), 2);
    stuck_for(milliseconds(3100));
    Result results[] = {Send(&two, 3, 1), Send(&two, 3, 2)};
    wait_until_asked();
    EXPECT_EQ(Text(Send(&two, 1, 3)), Words(1)) << "one of them gives way";
    stuck_for(std::nullopt);
    for (Result& result : results) EXPECT_EQ(Text(std::move(result)), Words(3));

    stuck_for(milliseconds(0));
    Result lost = Send(&pool, 2, 1);
    wait_until_asked();
    pool.Stop();
    EXPECT_THROW(lost.get(), std::future_error);
}

TEST_F(DecoderPoolTest, NobodyIsToldTheResultOfACancelledStretch) {
    engine_.HoldUp();
    const Job running = Speak(1);
    Result unwanted = Close(running);
    engine_.WaitForHeldUp(1);
    const Job queued = Speak(1, {2, 0, 1});
    Result unwanted_too = Close(queued);
    pool_.Cancel(running);
    pool_.Cancel(queued);
    engine_.GoOn();
    EXPECT_EQ(Text(Speak(3)), Words(3));
    EXPECT_THROW(unwanted.get(), std::future_error);
    EXPECT_THROW(unwanted_too.get(), std::future_error);
    EXPECT_EQ(engine_.Get().finished.size(), 2U);
    const Job long_one = Speak(30, {1, 31 * kSecond, 1});
    engine_.Set([&](auto* s) { s->on_next_feed = [&] { pool_.Cancel(long_one); }; });
    EXPECT_THROW(Close(long_one).get(), std::future_error);
    EXPECT_EQ(Text(Speak(1)), Words(1));
    EXPECT_LT(engine_.Get().samples_fed, 10 * kSecond) << "cancelled while it was decoded";
}

TEST_F(DecoderPoolTest, AnEngineThatFailsIsReportedOrTriedAgain) {
    engine_.Set([](auto* s) { s->fails_finish = true; });
    EXPECT_EQ(Text(Speak(1)), "the fake engine is out of order");
    engine_.Set([](auto* s) { s->fails_feed = true; });
    const Job job = Speak(1);
    engine_.WaitFor([](const auto& s) { return s.failures == 1; });
    engine_.GoOn();
    pool_.Feed(job, Audio(1));
    EXPECT_EQ(Text(job), Words(2)) << "begun again at its end";
    const RecogniserFactory broken = []() -> std::unique_ptr<Recogniser> {
        throw std::runtime_error("no models");
    };
    EXPECT_THROW(DecoderPool(broken, 2), std::runtime_error);
}

TEST_F(DecoderPoolTest, ADecoderThatCannotBeLoadedGetsNothingUntilItIs) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 2);
    engine.Set([](auto* s) { s->not_loaded = 1; });
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Text(Send(&pool, 1, 1)), Words(1));
    engine.Set([](auto* s) { s->not_loaded = 2; });
    EXPECT_EQ(Text(Send(&pool, 1, 1)), "the fake engine is not there");
    engine.WaitFor([](const auto& s) { return s.restores >= 2; });
    engine.Set([](auto* s) { s->not_loaded = 0; });
    EXPECT_EQ(Text(Send(&pool, 1, 1)), Words(1));
}

TEST_F(DecoderPoolTest, StopAbandonsWhatIsNotBeingFinished) {
    engine_.HoldUp();
    Result running = Close(Speak(1));
    engine_.WaitForHeldUp(1);
    Result queued = Close(Speak(1, {2, 0, 1}));
    std::thread stopper([this] { pool_.Stop(); });
    const auto is_stopping = [this] {  // a result is refused at once
        return Close(Speak(0, {3, 0, 1})).wait_for(std::chrono::seconds(0)) ==
               std::future_status::ready;
    };
    while (!is_stopping()) std::this_thread::yield();
    engine_.GoOn();
    stopper.join();
    EXPECT_THROW(queued.get(), std::future_error);
    EXPECT_EQ(Text(std::move(running)), Words(1));
}

}  // namespace
}  // namespace orvx::test
