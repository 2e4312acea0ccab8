#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "DecoderPool.h"
#include "FakeEngine.h"

namespace orvx::test {
namespace {

using std::chrono::seconds;

constexpr std::size_t kSecond = 16000;

std::vector<std::int16_t> Audio(std::size_t samples) {
    return std::vector<std::int16_t>(samples);
}

// The result that Close will give.
std::future<JobResult> Close(DecoderPool* pool, const DecoderPool::JobHandle& job) {
    auto promise = std::make_shared<std::promise<JobResult>>();
    auto future = promise->get_future();
    pool->Close(job, [promise](JobResult result) { promise->set_value(std::move(result)); });
    return future;
}

JobResult Await(std::future<JobResult> future) {
    if (future.wait_for(seconds(60)) != std::future_status::ready) {
        ADD_FAILURE() << "no result";
        return {};
    }
    return future.get();
}

std::string Text(const JobResult& result) {
    return result.sentences.empty() ? "" : result.sentences[0].text;
}

// Opens and feeds.
DecoderPool::JobHandle Speak(DecoderPool* pool, std::size_t samples, std::uint64_t owner = 1,
                             std::size_t opening = 0) {
    const auto job = pool->Open({owner, opening, 1});
    pool->Feed(job, Audio(samples));
    return job;
}

TEST(DecoderPoolTest, DecodesWhileAudioArrives) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    const auto job = Speak(&pool, 2 * kSecond);
    engine.WaitFor([](const FakeEngine& e) { return e.SamplesFed() == 2 * kSecond; });
    pool.Feed(job, Audio(kSecond));
    EXPECT_EQ(Text(Await(Close(&pool, job))), FakeEngine::Text(3 * kSecond));
    EXPECT_EQ(engine.Starts(), 1);
    EXPECT_EQ(engine.SamplesFed(), 3 * kSecond);
}

TEST(DecoderPoolTest, StartsWithTheOpeningOrWithAllThereIs) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    const auto longer = Speak(&pool, 2 * kSecond, 1, 3 * kSecond);
    pool.Feed(longer, Audio(2 * kSecond));
    engine.WaitFor([](const FakeEngine& e) { return e.SamplesFed() == 4 * kSecond; });
    EXPECT_EQ(engine.LongestOpening(), 3 * kSecond);
    EXPECT_EQ(Text(Await(Close(&pool, longer))), FakeEngine::Text(4 * kSecond));
    const auto shorter = Speak(&pool, kSecond, 1, 3 * kSecond);
    EXPECT_EQ(Text(Await(Close(&pool, shorter))), FakeEngine::Text(kSecond));
    EXPECT_EQ(engine.Starts(), 2);
}

TEST(DecoderPoolTest, TheLastSliceMayBeShort) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    EXPECT_EQ(Text(Await(Close(&pool, Speak(&pool, kSecond - 1)))), "");
    EXPECT_EQ(Text(Await(Close(&pool, Speak(&pool, kSecond)))), "word");
    EXPECT_EQ(engine.SamplesFed(), 2 * kSecond - 1);
    EXPECT_EQ(Text(Await(Close(&pool, Speak(&pool, 0)))), "");
}

TEST(DecoderPoolTest, ACompleteStretchTakesTheDecoderOfAStalledOneWhichLosesNothing) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    const auto stalled = Speak(&pool, 2 * kSecond);
    engine.WaitFor([](const FakeEngine& e) { return e.SamplesFed() == 2 * kSecond; });
    EXPECT_EQ(Text(Await(Close(&pool, Speak(&pool, kSecond, 2)))), FakeEngine::Text(kSecond));
    pool.Feed(stalled, Audio(kSecond));
    EXPECT_EQ(Text(Await(Close(&pool, stalled))), FakeEngine::Text(3 * kSecond));
}

TEST(DecoderPoolTest, AStretchThatSpeaksTakesTheDecoderOfASilentOne) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    Speak(&pool, kSecond);
    engine.WaitFor([](const FakeEngine& e) { return e.SamplesFed() == kSecond; });
    const auto speaking = Speak(&pool, 0, 2);
    // The silent one counts as such after a second.
    engine.WaitFor([&](const FakeEngine& e) {
        pool.Feed(speaking, Audio(1600));
        return e.Starts() >= 2;
    });
    pool.Cancel(speaking);
}

TEST(DecoderPoolTest, MoreOpenStretchesThanDecodersAllComeToTheirEnd) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 2);
    std::vector<DecoderPool::JobHandle> jobs;
    for (std::uint64_t owner = 0; owner < 20; ++owner) {
        jobs.push_back(Speak(&pool, kSecond, owner));
    }
    std::vector<std::future<JobResult>> results;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        pool.Feed(jobs[i], Audio(i * kSecond / 2));
        results.push_back(Close(&pool, jobs[i]));
    }
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        EXPECT_EQ(Text(Await(std::move(results[i]))), FakeEngine::Text((i + 2) * kSecond / 2));
    }
}

TEST(DecoderPoolTest, OwnersTakeTurns) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    engine.HoldUp();
    std::vector<std::future<JobResult>> results;
    for (int i = 0; i < 6; ++i) results.push_back(Close(&pool, Speak(&pool, kSecond, 1)));
    engine.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 1; });
    results.push_back(Close(&pool, Speak(&pool, 5 * kSecond, 2)));
    engine.GoOn();
    for (auto& result : results) Await(std::move(result));
    // One of the first owner was being finished already, one more may have its turn before.
    const auto finished = engine.Finished();
    const auto place = std::find(finished.begin(), finished.end(), FakeEngine::Text(5 * kSecond));
    EXPECT_LE(place - finished.begin(), 2);
}

TEST(DecoderPoolTest, AStretchThatYieldsComesLastAndStillComesToItsEnd) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    const auto yields = std::make_shared<std::atomic<bool>>(false);
    const auto open = [&pool, &yields] {
        const auto job = pool.Open({1, 0, 1, yields});
        pool.Feed(job, Audio(2 * kSecond));
        return job;
    };
    engine.HoldUp();
    std::vector<std::future<JobResult>> results;
    results.push_back(Close(&pool, open()));
    engine.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 1; });
    results.push_back(Close(&pool, open()));
    for (std::uint64_t owner = 2; owner < 5; ++owner) {
        results.push_back(Close(&pool, Speak(&pool, kSecond, owner)));
    }
    *yields = true;
    engine.GoOn();
    for (auto& result : results) EXPECT_NE(Text(Await(std::move(result))), "");
    EXPECT_EQ(engine.Finished().back(), FakeEngine::Text(2 * kSecond));
}

TEST(DecoderPoolTest, AStretchThatYieldsGivesItsDecoderBack) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    const auto yields = std::make_shared<std::atomic<bool>>(true);
    const auto job = pool.Open({1, 0, 1, yields});
    pool.Feed(job, Audio(30 * kSecond));
    std::promise<std::future<JobResult>> prompt;
    engine.OnNextFeed([&] { prompt.set_value(Close(&pool, Speak(&pool, kSecond, 2))); });
    auto late = Close(&pool, job);
    EXPECT_EQ(Text(Await(prompt.get_future().get())), "word");
    EXPECT_EQ(Text(Await(std::move(late))), FakeEngine::Text(30 * kSecond));
    EXPECT_EQ(engine.Finished().front(), "word");
    EXPECT_EQ(engine.Starts(), 3) << "the late one begins anew";
}

TEST(DecoderPoolTest, NobodyIsToldTheResultOfACancelledStretch) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    engine.HoldUp();
    const auto running = Speak(&pool, kSecond, 1);
    const auto queued = Speak(&pool, kSecond, 2);
    std::vector<std::future<JobResult>> unwanted;
    unwanted.push_back(Close(&pool, running));
    engine.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 1; });
    unwanted.push_back(Close(&pool, queued));
    pool.Cancel(running);
    pool.Cancel(queued);
    engine.GoOn();
    EXPECT_EQ(Text(Await(Close(&pool, Speak(&pool, 3 * kSecond)))), FakeEngine::Text(3 * kSecond));
    for (auto& future : unwanted) EXPECT_THROW(future.get(), std::future_error);
    EXPECT_EQ(engine.Finished().size(), 2U);
}

TEST(DecoderPoolTest, AnEngineThatFailsIsReportedAndUsedAgain) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    engine.FailFinish();
    const JobResult result = Await(Close(&pool, Speak(&pool, kSecond)));
    EXPECT_EQ(result.engine_error, "the fake engine is out of order");
    EXPECT_TRUE(result.sentences.empty());
    engine.GoOn();
    EXPECT_EQ(Text(Await(Close(&pool, Speak(&pool, kSecond)))), FakeEngine::Text(kSecond));
}

TEST(DecoderPoolTest, AFailureWhileAudioArrivesIsRetriedAtTheEnd) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    engine.FailFeed();
    const auto job = Speak(&pool, kSecond);
    engine.WaitFor([](const FakeEngine& e) { return e.Failures() == 1; });
    engine.GoOn();
    pool.Feed(job, Audio(kSecond));
    EXPECT_EQ(Text(Await(Close(&pool, job))), FakeEngine::Text(2 * kSecond));
    EXPECT_EQ(engine.Starts(), 2);
}

TEST(DecoderPoolTest, StopAbandonsWhatIsNotBeingFinished) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 1);
    engine.HoldUp();
    auto running = Close(&pool, Speak(&pool, kSecond, 1));
    engine.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 1; });
    auto queued = Close(&pool, Speak(&pool, kSecond, 2));
    std::thread stopper([&] { pool.Stop(); });
    const auto is_stopping = [&pool] {  // a result is refused at once
        return Close(&pool, Speak(&pool, 0, 3)).wait_for(seconds(0)) == std::future_status::ready;
    };
    while (!is_stopping()) std::this_thread::yield();
    engine.GoOn();
    stopper.join();
    EXPECT_THROW(queued.get(), std::future_error);
    EXPECT_EQ(Text(Await(std::move(running))), FakeEngine::Text(kSecond));
}

TEST(DecoderPoolTest, ManyThreadsAtOnceGetEachTheirOwnResult) {
    FakeEngine engine;
    DecoderPool pool(engine.Factory(), 3);
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (std::uint64_t owner = 0; owner < 4; ++owner) {
        threads.emplace_back([&, owner] {
            for (std::size_t i = 0; i < 25; ++i) {
                const auto job = pool.Open({owner, i % 3 == 0 ? kSecond : 0, 1});
                for (std::size_t j = 0; j <= i % 7; ++j) pool.Feed(job, Audio(kSecond / 2));
                if (i % 5 == 4) {
                    pool.Cancel(job);
                    ++right;
                } else if (Text(Await(Close(&pool, job))) ==
                           FakeEngine::Text((i % 7 + 1) * kSecond / 2)) {
                    ++right;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 100);
}

TEST(DecoderPoolTest, AnEngineThatCannotBeLoadedIsAnError) {
    const RecogniserFactory broken = []() -> std::unique_ptr<Recogniser> {
        throw std::runtime_error("no models");
    };
    EXPECT_THROW(DecoderPool(broken, 2), std::runtime_error);
}

}  // namespace
}  // namespace orvx::test
