// The answers to moves of streams that were asked for together.
#include "platform/linux/streammoves.h"

#include <QTest>

#include <thread>

using namespace pulse;
using namespace std::chrono_literals;

class TestStreamMoves : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        moves = std::make_unique<StreamMoves>();
        answers = std::make_shared<MoveAnswers>();
    }

    void nothingAskedIsTaken() { QVERIFY(answers->await(0ms)); }

    void allMustBeTaken_data()
    {
        QTest::addColumn<QList<bool>>("taken");
        QTest::addColumn<bool>("expected");
        QTest::newRow("one") << QList<bool>{true} << true;
        QTest::newRow("one refused") << QList<bool>{false} << false;
        QTest::newRow("first refused") << QList<bool>{false, true, true} << false;
        QTest::newRow("last refused") << QList<bool>{true, true, false} << false;
        QTest::newRow("three") << QList<bool>{true, true, true} << true;
    }

    void allMustBeTaken()
    {
        QFETCH(const QList<bool>, taken);
        std::vector<StreamMoves::Move *> asked;
        for (qsizetype count = 0; count < taken.size(); ++count)
            asked.push_back(&moves->add(answers));
        for (qsizetype place = 0; place < taken.size(); ++place)
            moves->settle(*asked[std::size_t(place)], taken[place]);
        QTEST(answers->await(0ms), "expected");
    }

    void oneThatIsNotAnsweredIsNone()
    {
        StreamMoves::Move &first = moves->add(answers);
        moves->add(answers);
        moves->settle(first, true);
        QVERIFY(!answers->await(1ms));
    }

    void waitsForTheAnswer()
    {
        StreamMoves::Move &move = moves->add(answers);
        std::thread server([&] {
            std::this_thread::sleep_for(20ms);
            moves->settle(move, true);
        });
        QVERIFY(answers->await(30s));
        server.join();
    }

    void lostServerRefusesAll()
    {
        const auto others = std::make_shared<MoveAnswers>();
        moves->settle(moves->add(answers), true);
        moves->add(answers);
        moves->add(others);
        moves->refuseAll();
        QVERIFY(!answers->await(0ms));
        QVERIFY(!others->await(0ms));
        // Nothing is under way any more: each is answered once.
        moves->refuseAll();
        const auto next = std::make_shared<MoveAnswers>();
        moves->settle(moves->add(next), true);
        QVERIFY(next->await(0ms));
    }

private:
    std::unique_ptr<StreamMoves> moves;
    std::shared_ptr<MoveAnswers> answers;
};

QTEST_GUILESS_MAIN(TestStreamMoves)
#include "tst_streammoves.moc"
