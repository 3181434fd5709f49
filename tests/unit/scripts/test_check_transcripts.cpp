#include "file_content.hpp"
#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

class CheckTranscripts : public testing::Test
{
  protected:
    /** Runs a document; complaints are on the output, too. */
    ScriptResult run(const std::string& document,
                     const std::vector<std::string>& options = {}) const
    {
        std::vector<std::string> command{"sh", "-c", "exec \"$@\" 2>&1", "sh",
                                         SCRIPTS "/checks/transcripts"};
        command.insert(command.end(), options.begin(), options.end());
        command.push_back(folder.write("document.md", document));
        command.push_back(folder.path());
        return runScript(command);
    }

    void expectGood(const std::string& document) const
    {
        const ScriptResult result = run(document);
        EXPECT_EQ(result.status, 0) << result.output;
    }

    void expectWrong(const std::string& document,
                     const std::string& complaint) const
    {
        const ScriptResult result = run(document);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.output, HasSubstr(complaint));
    }

    TemporaryFolder folder;
};

TEST_F(CheckTranscripts, AcceptsWhatTheCommandsPrint)
{
    const ScriptResult result = run("Text.\n\n```console\n"
                                    "$ echo one; echo two >&2\none\ntwo\n"
                                    "$ true\n```\n");
    EXPECT_EQ(result.output, "2 commands show what the document says\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(CheckTranscripts, NamesTheLineWhoseOutputDiffers)
{
    expectWrong("```console\n$ echo one\none\n$ echo two\nthree\n```\n",
                "line 4: $ echo two\nshall print\nthree\nand prints\ntwo\n");
}

TEST_F(CheckTranscripts, RefusesOutputThatIsMissingOrTooMuch)
{
    expectWrong("```console\n$ true\nthree\n```\n", "shall print\nthree\n");
    expectWrong("```console\n$ echo one\n```\n", "and prints\none\n");
}

TEST_F(CheckTranscripts, RefusesADocumentWithNothingToRun)
{
    expectWrong("```sh\necho one\n```\n", "there is nothing to run");
}

TEST_F(CheckTranscripts, RefusesOutputWithoutACommand)
{
    expectWrong("```console\none\n```\n", "line 2: output without a command");
}

TEST_F(CheckTranscripts, UsesOneShellForAllBlocks)
{
    expectGood("```console\n$ word=one; mkdir below && cd below\n```\n"
               "Text.\n```console\n$ echo $word; basename $PWD\n"
               "one\nbelow\n```\n");
}

TEST_F(CheckTranscripts, TakesCommandsOfSeveralLines)
{
    expectGood("```console\n$ echo one \\\n    two\none two\n```\n");
}

TEST_F(CheckTranscripts, CountsRunsOfBlanksAsOne)
{
    expectGood("```console\n$ echo 'a    b '\na b\n```\n");
}

TEST_F(CheckTranscripts, WritesFilesInSteps)
{
    expectGood("<!-- file: sub/a.txt -->\n```text\none\n```\n"
               "<!-- added to: sub/a.txt -->\n\n```text\ntwo\n```\n"
               "```console\n$ cat sub/a.txt\none\ntwo\n```\n");
}

TEST_F(CheckTranscripts, LeavesOutWhatIsNotRun)
{
    expectGood("<!-- not run: needs another machine -->\n"
               "```console\n$ echo one\ntwo\n```\n"
               "```console\n$ echo one\none\n```\n");
}

TEST_F(CheckTranscripts, ForgetsACommentThatStandsBeforeOtherText)
{
    expectWrong("<!-- not run: not this block -->\nText.\n"
                "```console\n$ echo one\ntwo\n```\n",
                "shall print\ntwo\n");
}

TEST_F(CheckTranscripts, RepeatsUntilItIsSeen)
{
    expectGood("<!-- until seen -->\n```console\n"
               "$ echo x >>file; wc -l <file\n3\n```\n");
    expectWrong("```console\n$ echo x >>other; wc -l <other\n3\n```\n",
                "and prints\n1\n");
}

TEST_F(CheckTranscripts, TakesWhatVariesAsItIs)
{
    const std::string varies = "<!-- varies: 4711 = [0-9]+ -->\n";
    expectGood(varies + "```console\n$ echo $$ is $$\n4711 is 4711\n```\n");
    expectWrong(varies + "```console\n$ echo 12 is 13\n4711 is 4711\n```\n",
                "and prints\n12 is 13\n");
    expectWrong(varies + "```console\n$ echo none\n4711\n```\n",
                "and prints\nnone\n");
}

TEST_F(CheckTranscripts, KnowsWhatVariedWhenItComesBack)
{
    const std::string document = "<!-- varies: :1.1 = :[0-9.]+ -->\n"
                                 "```console\n$ echo :2.7\n:1.1\n$ echo ";
    expectGood(document + ":1.1\n:1.1\n```\n");
    expectWrong(document + ":2.8\n:1.1\n```\n", "and prints\n:2.8\n");
}

TEST_F(CheckTranscripts, RefusesAVaryingTextInACommandBeforeItWasSeen)
{
    expectWrong(
        "<!-- varies: 4711 = [0-9]+ -->\n```console\n$ kill 4711\n```\n",
        "4711 has not been seen before");
}

TEST_F(CheckTranscripts, LooksAtNothingThatTheBackgroundWrites)
{
    expectGood("```console\n$ echo one & wait; echo two\none\ntwo\n"
               "$ echo three &\n$ wait\n$ echo four >file &\n"
               "$ wait; cat file\nfour\n```\n");
}

TEST_F(CheckTranscripts, EndsWhatTheDocumentStarted)
{
    expectGood("```console\n$ sleep 1000 &\n$ echo $! >pid\n```\n");
    EXPECT_TRUE(endsInTime(std::stoi(contentOf(folder.path() / "pid"))));
}

TEST_F(CheckTranscripts, PutsWhatTheTestHasInThePlaceOfATextOfTheDocument)
{
    EXPECT_EQ(run("```console\n$ echo /usr/there\n/usr/there\n"
                  "$ basename /usr/there\nhere\n```\n",
                  {"--let", "/usr/there=/tmp/here"})
                  .status,
              0);
}

} // namespace
} // namespace healthintf::test
