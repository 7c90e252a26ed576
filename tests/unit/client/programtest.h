// The base of the client's tests: a scripted program for each.
#pragma once

#include "clientrun.h"
#include "fakeprogram.h"

#include <QTest>

#include <memory>

class ProgramTest : public QObject
{
    Q_OBJECT

protected slots:
    void init()
    {
        program = std::make_unique<FakeProgram>();
        QVERIFY(program->listen());
    }
    void cleanup() { program.reset(); }

protected:
    /// Runs the client against the program, to its end.
    Outcome run(const QStringList &arguments)
    {
        return Run(QStringList{"--port", QString::number(program->port())} + arguments).finish();
    }

    std::unique_ptr<FakeProgram> program;
};
