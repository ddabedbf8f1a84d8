// Exported functions: reading and printing SMT-LIB 2 text.
#include "api/frame.h"

#include "lang/multi_istream.h"

#include <istream>
#include <sstream>
#include <streambuf>
#include <utility>

using namespace tarq::api;

namespace {

/// Reads from a C stream, which stays the caller's.
class CFileBuffer : public std::streambuf {
public:
    explicit CFileBuffer(FILE* file) : file_(file)
    {
        if (!file) {
            throw tarq::make_error<tarq::Exception>("null file argument");
        }
    }

protected:
    int_type underflow() override
    {
        size_t n = std::fread(chunk_, 1, sizeof(chunk_), file_);
        if (n == 0) {
            if (std::ferror(file_)) {
                throw tarq::make_error<tarq::Exception>("error while reading a file");
            }
            return traits_type::eof();
        }
        setg(chunk_, chunk_, chunk_ + n);
        return traits_type::to_int_type(*gptr());
    }

private:
    FILE* file_;
    char chunk_[1 << 14];
};

/// Gives `body` a stream over the text, which is not copied.
template <class Body>
auto with_stream(const char* data, Body&& body)
{
    tarq::multi_istream in;
    in.add(text_arg(data));
    return body(in);
}

/// Gives `body` a stream over the file. A failed read must not look like the end of the file.
template <class Body>
auto with_stream(FILE* file, Body&& body)
{
    CFileBuffer buffer(file);
    std::istream in(&buffer);
    in.exceptions(std::ios::badbit);
    return body(in);
}

/// A fresh array of fresh texts; owns what it holds until `release`.
class TextArray {
public:
    explicit TextArray(size_t n) : texts_(static_cast<char**>(tarq_malloc(n * sizeof(char*)))) {}
    ~TextArray()
    {
        for (size_t i = 0; texts_ && i < size_; ++i) {
            std::free(texts_.get()[i]);
        }
    }
    TextArray(const TextArray&) = delete;
    TextArray& operator=(const TextArray&) = delete;

    void add(const std::string& s)
    {
        texts_.get()[size_] = copy_text(s);
        ++size_;
    }
    char** release() { return texts_.release(); }

private:
    Block<char*> texts_;
    size_t size_ = 0;
};

template <class Source>
tarq_term read_script(tarq_env e, Source source) noexcept
{
    return frame(e, error_term, [&](EnvWrapper& w) {
        return with_stream(source,
                           [&](std::istream& in) { return wrap(w.env->from_smt2_script(in)); });
    });
}

template <class Source>
int read_named_list(tarq_env e, Source source, size_t* out_n, char*** out_names,
                    tarq_term** out_terms) noexcept
{
    return frame(e, -1, [&](EnvWrapper& w) {
        std::vector<std::string> names;
        tarq::TermVector terms;
        with_stream(source, [&](std::istream& in) {
            w.env->named_terms_from_smt2_script(in, &names, &terms);
        });
        TextArray texts(names.size());
        for (const std::string& name : names) {
            texts.add(name);
        }
        Block<tarq_term> handles = copy_terms(terms);
        *out_n = terms.size();
        *out_names = texts.release();
        *out_terms = handles.release();
        return 0;
    });
}

template <class Source>
int read_annotated_list(tarq_env e, Source source, size_t* out_n, tarq_term** out_terms,
                        char*** out_annots) noexcept
{
    return frame(e, -1, [&](EnvWrapper& w) {
        tarq::TermVector terms;
        std::vector<std::pair<std::string, std::string>> annotations;
        with_stream(source,
                    [&](std::istream& in) { w.env->from_smt2_script(in, &terms, &annotations); });
        TextArray texts(2 * annotations.size());
        for (const auto& [key, value] : annotations) {
            texts.add(key);
            texts.add(value);
        }
        Block<tarq_term> handles = copy_terms(terms);
        *out_n = terms.size();
        *out_terms = handles.release();
        *out_annots = texts.release();
        return 0;
    });
}

/// Prints a script into a text.
std::string print_script(EnvWrapper& w, tarq_term term, const char* logic, int use_defines)
{
    std::ostringstream out;
    w.env->to_smt2_script(out, unwrap(term), logic ? logic : "", use_defines != 0);
    return std::move(out).str();
}

void write_text(const std::string& text, FILE* file)
{
    if (!file) {
        throw tarq::make_error<tarq::Exception>("null file argument");
    }
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size() || std::fflush(file) != 0) {
        throw tarq::make_error<tarq::Exception>("error while writing a file");
    }
}

/// Gives `body` a stream and returns what it wrote.
template <class Body>
std::string print_text(Body&& body)
{
    std::ostringstream out;
    body(out);
    return std::move(out).str();
}

std::string print_smtlib1(EnvWrapper& w, tarq_term term)
{
    return print_text([&](std::ostream& out) { w.env->to_smt1_script(out, unwrap(term)); });
}

tarq::TermVector unwrap_terms(size_t n, const tarq_term* terms)
{
    tarq::TermVector out;
    for (size_t i = 0; i < n; ++i) {
        out.push_back(unwrap(terms[i]));
    }
    return out;
}

std::string print_named_list(EnvWrapper& w, size_t n, const char* const* names,
                             const tarq_term* terms)
{
    std::vector<std::string> texts;
    for (size_t i = 0; i < n; ++i) {
        texts.emplace_back(text_arg(names[i]));
    }
    return print_text([&](std::ostream& out) {
        w.env->named_terms_to_smt2_script(out, texts, unwrap_terms(n, terms));
    });
}

std::string print_annotated_list(EnvWrapper& w, size_t n, const tarq_term* terms,
                                 const char* const* annots)
{
    std::vector<std::pair<std::string, std::string>> texts;
    for (size_t i = 0; i < n; ++i) {
        texts.emplace_back(text_arg(annots[2 * i]), text_arg(annots[2 * i + 1]));
    }
    return print_text(
        [&](std::ostream& out) { w.env->to_smt2_script(out, unwrap_terms(n, terms), texts); });
}

} // namespace

tarq_term tarq_from_string(tarq_env e, const char* data)
{
    return frame(e, error_term,
                 [&](EnvWrapper& w) { return wrap(w.env->from_smt2(text_arg(data))); });
}

tarq_term tarq_from_smtlib2(tarq_env e, const char* data)
{
    return read_script(e, data);
}

tarq_term tarq_from_smtlib2_file(tarq_env e, FILE* f)
{
    return read_script(e, f);
}

int tarq_named_list_from_smtlib2(tarq_env e, const char* data, size_t* out_n, char*** out_names,
                                 tarq_term** out_terms)
{
    return read_named_list(e, data, out_n, out_names, out_terms);
}

int tarq_named_list_from_smtlib2_file(tarq_env e, FILE* f, size_t* out_n, char*** out_names,
                                      tarq_term** out_terms)
{
    return read_named_list(e, f, out_n, out_names, out_terms);
}

int tarq_annotated_list_from_smtlib2(tarq_env e, const char* data, size_t* out_n,
                                     tarq_term** out_terms, char*** out_annots)
{
    return read_annotated_list(e, data, out_n, out_terms, out_annots);
}

int tarq_annotated_list_from_smtlib2_file(tarq_env e, FILE* f, size_t* out_n, tarq_term** out_terms,
                                          char*** out_annots)
{
    return read_annotated_list(e, f, out_n, out_terms, out_annots);
}

char* tarq_to_smtlib2(tarq_env e, tarq_term term)
{
    return tarq_to_smtlib2_ext(e, term, nullptr, 0);
}

char* tarq_to_smtlib2_ext(tarq_env e, tarq_term term, const char* logic_name, int use_defines)
{
    return frame<char*>(e, nullptr, [&](EnvWrapper& w) {
        return copy_text(print_script(w, term, logic_name, use_defines));
    });
}

char* tarq_to_smtlib2_term(tarq_env e, tarq_term term)
{
    return frame<char*>(e, nullptr, [&](EnvWrapper& w) {
        std::ostringstream out;
        w.env->to_smt2_string(out, unwrap(term));
        return copy_text(out.str());
    });
}

int tarq_to_smtlib2_file(tarq_env e, tarq_term term, FILE* f)
{
    return tarq_to_smtlib2_ext_file(e, term, nullptr, 0, f);
}

int tarq_to_smtlib2_ext_file(tarq_env e, tarq_term term, const char* logic_name, int use_defines,
                             FILE* f)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        write_text(print_script(w, term, logic_name, use_defines), f);
        return 0;
    });
}

char* tarq_to_smtlib1(tarq_env e, tarq_term term)
{
    return frame<char*>(e, nullptr,
                        [&](EnvWrapper& w) { return copy_text(print_smtlib1(w, term)); });
}

int tarq_to_smtlib1_file(tarq_env e, tarq_term term, FILE* f)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        write_text(print_smtlib1(w, term), f);
        return 0;
    });
}

char* tarq_named_list_to_smtlib2(tarq_env e, size_t n, const char* const* names,
                                 const tarq_term* terms)
{
    return frame<char*>(
        e, nullptr, [&](EnvWrapper& w) { return copy_text(print_named_list(w, n, names, terms)); });
}

int tarq_named_list_to_smtlib2_file(tarq_env e, size_t n, const char* const* names,
                                    const tarq_term* terms, FILE* f)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        write_text(print_named_list(w, n, names, terms), f);
        return 0;
    });
}

char* tarq_annotated_list_to_smtlib2(tarq_env e, size_t n, const tarq_term* terms,
                                     const char* const* annots)
{
    return frame<char*>(e, nullptr, [&](EnvWrapper& w) {
        return copy_text(print_annotated_list(w, n, terms, annots));
    });
}

int tarq_annotated_list_to_smtlib2_file(tarq_env e, size_t n, const tarq_term* terms,
                                        const char* const* annots, FILE* f)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        write_text(print_annotated_list(w, n, terms, annots), f);
        return 0;
    });
}
