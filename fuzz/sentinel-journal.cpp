// The pi harness's question journal: JSON lines of questions and of what became of them.
#include "FuzzSupport.h"

#include "HerdrClient/Attention/PiHarnessJournal.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const PiHarnessJournal journal(QByteArrayView(data, qsizetype(size)));
    for (const EscalatedQuestion& question : journal.escalations) {
        FUZZ_CHECK(journal.escalation(question.id) != nullptr);
        FUZZ_CHECK(question.options.size() == question.optionDescriptions.size());
        (void)question.canAnswer();
        (void)question.status();
        (void)question.asJSONValue().serialized();
    }
    return 0;
}
