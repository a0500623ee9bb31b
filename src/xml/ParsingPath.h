#ifndef KPXML_XML_PARSINGPATH_H
#define KPXML_XML_PARSINGPATH_H

namespace KpXml::detail {

// The parser reads ordinary tags, texts and references straight from its input and hands every
// other one to the step-by-step reading. While an object of this class lives, parses on its
// thread read everything step by step: the reference that the direct reading must match, for
// comparing the two.
class StepByStepParsing {
public:
    StepByStepParsing();
    ~StepByStepParsing();
    StepByStepParsing(const StepByStepParsing&) = delete;
    StepByStepParsing& operator=(const StepByStepParsing&) = delete;

    // True while an object of this class lives on the calling thread.
    static bool selected();

private:
    bool previous;
};

}  // namespace KpXml::detail

#endif
