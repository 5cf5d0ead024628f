#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>

#include <gtest/gtest.h>

namespace {

/** A switch that is a shell script: a login, a prompt, a listing, and setmac for one property. */
const std::string switch_script = R"(
stty -echo
printf 'booting\r\n'
ask() { printf '%s' "$1"; IFS= read -r line; line=$(printf %s "$line" | tr -d '\r'); }
ask 'switch login: '
while [ -z "$line" ]; do ask 'switch login: '; done
ask 'Password: '
if [ "$line" != geheim ]; then printf '\r\nLogin incorrect\r\n'; ask 'switch login: '; exit; fi
while ask '# '; do
    case $line in
    '') ;;
    prodinfo) cat stored ;;
    'prov_setmac setmac')
        stty raw -echo
        printf 'Setmac Model setup ...\r\n'
        take 8; printf '\025'; take 1; printf '\001'; take 4; take "$length"; printf '\007\006'
        printf 'A=B1\r\n' >stored
        stty sane -echo
        printf 'Save product info success.\r\n' ;;
    *) echo "sh: $line: not found" ;;
    esac
done
)";

class provision_program : public testing::Test {
protected:
    int status = -1;
    std::string out;
    std::string err;

    void SetUp() override
    {
        folder_ = std::filesystem::path(testing::TempDir()) /
                  (std::string("provision_program_") +
                   testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(folder_);
        write("product.toml", "name = \"test\"\nflavour = \"legacy\"\n"
                              "[[value]]\nname = \"a\"\nkind = \"text\"\nlength = 2\n"
                              "[console]\nprompt = \"# \"\nuser = \"root\"\npassword_env = \"PW\"\n"
                              "quiet = 1\n"
                              "[[identity]]\nrecord = \"A\"\n"
                              "[[step]]\noperation = \"setmac\"\njob = \"job.toml\"\n");
        write("job.toml", "[[property]]\nname = \"A\"\ntext = \"{a}\"\n");
        write("switch.sh", "cd " + folder_.string() +
                               "\nlength=18\ntake() { dd bs=1 count=$1 of=taken oflag=append "
                               "conv=notrunc 2>/dev/null; }\n" +
                               switch_script);
        write("stored", "");
    }

    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string path(const std::string &name) const { return (folder_ / name).string(); }

    void write(const std::string &name, const std::string &text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
    }

    std::string read(const std::string &name) const
    {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    void run(const std::string &arguments, const std::string &before = "")
    {
        const auto command = before + " " + STATION_PROGRAM + " " + arguments + " > " +
                             path("out") + " 2> " + path("err");
        const int result = std::system(command.c_str()); // NOLINT(cert-env33-c)
        status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
        out = read("out");
        err = read("err");
    }

    void provision(const std::string &more, const std::string &before = "PW=geheim")
    {
        run("provision " + path("product.toml") + " --exec 'exec sh " + path("switch.sh") + "' " +
                more,
            before);
    }

private:
    std::filesystem::path folder_;
};

bool holds(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_F(provision_program, ends_with_0_when_all_is_verified)
{
    provision("--value a=B1");
    EXPECT_EQ(status, 0) << out << err;
    EXPECT_TRUE(holds(out, "test: verified: all of it was read back.\n")) << out;
    EXPECT_TRUE(holds(out, "A       B1      -       B1         as wanted\n")) << out;
    EXPECT_TRUE(holds(err, "Step 1 of 1: setmac\n")) << err;
}

TEST_F(provision_program, shows_and_traces_no_password)
{
    provision("--value a=B1 --trace --json");
    EXPECT_EQ(status, 0) << out << err;
    EXPECT_FALSE(holds(out + err, "geheim"));
    EXPECT_FALSE(holds(err, " 67 65 68 65 69 6D"));
    EXPECT_TRUE(holds(err, " 2A 2A 2A 2A 2A 2A")) << err;
}

TEST_F(provision_program, tells_it_as_json)
{
    provision("--value a=B1 --json --quiet");
    EXPECT_TRUE(holds(out, "  \"outcome\": \"verified\",\n")) << out;
    EXPECT_TRUE(holds(out, "{\"record\": \"A\", \"wanted\": \"B1\", \"before\": null, \"after\": "
                           "\"B1\", \"as_wanted\": true}"))
        << out;
    EXPECT_TRUE(holds(out, "{\"name\": \"a\", \"value\": \"B1\"}")) << out;
    EXPECT_EQ(err, "");
    write("out.json", out);
    EXPECT_EQ(std::system(("python3 -m json.tool " + path("out.json") + " > /dev/null").c_str()),
              0); // NOLINT(cert-env33-c)
}

TEST_F(provision_program, ends_with_4_at_another_units_identity)
{
    write("stored", "A=Z9\r\n");
    provision("--value a=B1");
    EXPECT_EQ(status, 4) << out;
    EXPECT_TRUE(holds(out, "other_identity: the switch holds A \"Z9\" and not \"B1\".\n")) << out;
    EXPECT_EQ(read("stored"), "A=Z9\r\n");
}

TEST_F(provision_program, overwrites_it_with_replace)
{
    write("stored", "A=Z9\r\n");
    provision("--value a=B1 --replace");
    EXPECT_EQ(status, 0) << out;
}

TEST_F(provision_program, only_checks_where_it_shall)
{
    write("stored", "A=B1\r\n");
    provision("--value a=B1 --only-check");
    EXPECT_EQ(status, 0) << out;
    write("stored", "");
    provision("--value a=B1 --only-check");
    EXPECT_EQ(status, 1) << out;
    EXPECT_EQ(read("taken"), "");
}

TEST_F(provision_program, ends_with_5_at_a_wrong_password)
{
    provision("--value a=B1", "PW=falsch");
    EXPECT_EQ(status, 5) << out;
    EXPECT_TRUE(holds(out, "not_reached: the switch refuses the user or the password.\n")) << out;
}

TEST_F(provision_program, ends_with_6_when_it_is_interrupted)
{
    write("switch.sh", "printf 'booting\\n'; kill -INT $(cat " + path("pid") + "); sleep 5\n");
    provision("--value a=B1", "PW=geheim; export PW; echo $$ > " + path("pid") + "; exec");
    EXPECT_EQ(status, 6) << out << err;
    EXPECT_TRUE(holds(out, "cancelled: it was stopped.\n")) << out;
}

TEST_F(provision_program, ends_with_2_at_wrong_input)
{
    provision("--value a=B");
    EXPECT_EQ(status, 2);
    EXPECT_EQ(err,
              path("product.toml") + ":3: value \"a\" is \"B\": expected 2 characters, not 1\n");
    provision("--value a");
    EXPECT_EQ(status, 2);
    provision("--value a=B1 --value a=B2");
    EXPECT_EQ(status, 2);
    provision("--value a=B1", "unset PW;");
    EXPECT_EQ(status, 2);
    EXPECT_TRUE(holds(err,
                      "product.toml:7: the environment has no \"PW\": expected the password of "
                      "the switch in it\n"))
        << err;
    run("provision " + path("product.toml") + " --value a=B1");
    EXPECT_EQ(status, 2);
    run("provision " + path("nothing.toml") + " --port /dev/null");
    EXPECT_EQ(status, 2);
}

TEST_F(provision_program, shows_a_product_beforehand)
{
    run("preview " + path("product.toml") + " --value a=B1");
    EXPECT_EQ(status, 0) << err;
    EXPECT_EQ(out, "A=B1\n");
    run("preview " + path("job.toml") + " --value a=B1");
    EXPECT_EQ(status, 2);
}

TEST_F(provision_program, has_examples_that_are_right)
{
    const std::string products = STATION_EXAMPLES "/products/";
    run("preview " + products +
        "sw-48x6q/product.toml --value serial=ABCDEFGHJ1234 --value "
        "mac=00:1A:2B:3C:4D:40");
    EXPECT_EQ(status, 0) << err;
    EXPECT_TRUE(holds(out, "ethaddr=00:1A:2B:3C:4D:40\n")) << out;
    EXPECT_TRUE(holds(out, "MgmtAddress=00:1A:2B:3C:4D:41\n")) << out;
    run("preview " + products +
        "sw-48x6q-tlv/product.toml --value serial=ABCDEFGHJ1234 --value "
        "mac=00:1A:2B:3C:4D:80");
    EXPECT_EQ(status, 0) << err;
    EXPECT_TRUE(holds(out, "ethaddr_scale=000000000080\n")) << out;
    run("preview " + products +
        "chassis-8/product.toml --value serial=ABCDEFGHJ1234 --value mac=00:1A:2B:3C:4E:00 "
        "--value fan0=FANA000000001 --value fan1=FANA000000002 --value psu0=PSUA000000001 "
        "--value psu1=PSUA000000002 --value card=CARD000000000003");
    EXPECT_EQ(status, 0) << err;
}
