/// @file
/// Reads single values out of an XML document by XPath.
#pragma once

#include <Hascommon/Export.h>
#include <Hasutil/XPathAnswer.h>
#include <Hasutil/XmlElement.h>

#include <atomic>
#include <string>

struct _xmlDoc;
struct _xmlXPathContext;

namespace hascommon {

/// One XML document and queries for single values in it, for the readers of manifests.
///
/// **Queries** name their target by an XPath 1.0 expression: GetXmlParamStr() and those beside it a
/// text ("/a/b/text()"), GetXmlParamAttr() an element. The first match in document order answers.
/// No namespaces are registered, so expressions use unprefixed names. Whatever goes wrong, a
/// malformed expression or a null argument included, the answer is the empty value of the type;
/// nothing is logged and nothing throws.
///
/// **Order of calls.** InitLibXML() once per process before the first reader, Load(), queries,
/// Free() before another Load(). FreeLibXML() is for the end of the process, not for the end of a
/// manifest: it ends libxml2 for everybody in the process, other users of it included.
///
/// **Hostile documents.** Nothing outside a document is read for it: no external entity, no DTD, no
/// network. A document whose entities would grow to more than 10,000,000 bytes, or that is nested
/// more than 256 deep, is refused like one that is not well-formed.
///
/// **Ownership.** The reader owns its document and all it hands out of it by pointer, until Free()
/// or its destructor.
///
/// Thread safety: one thread at a time for one reader; two threads may use two readers.
class HAS_API HssXPathReader {
public:
    /// How often InitLibXML() was called and not yet matched by FreeLibXML(); for reading.
    static std::atomic<unsigned int> m_isInit;

    /// Sets libxml2 up, at the first call that is not yet matched.
    static void InitLibXML();

    /// Tears libxml2 down (xmlCleanupParser()), at the call that matches the first one.
    ///
    /// For the end of a process that wants its memory checkers silent, when no thread uses libxml2
    /// any more, through this class or by itself. Never needed otherwise. A call without an
    /// InitLibXML() wraps the count to 2^32 - 1: the count is compared with 1 only, and an embedder
    /// that does not pair its calls keeps what it has set up.
    static void FreeLibXML();

    /// A reader without a document.
    HssXPathReader();
    ~HssXPathReader();
    HssXPathReader(const HssXPathReader&) = delete;
    HssXPathReader& operator=(const HssXPathReader&) = delete;

    /// Parses a file, unless a document is loaded already.
    /// @param file  its path; may be null, which loads nothing
    /// @return true when a document had been loaded before, which is kept; false otherwise, whether
    ///         or not this one could be parsed. So it tells of a document in the way only;
    ///         IsLoaded() tells about success.
    bool Load(const char* file);

    /// Parses a document in memory, unless one is loaded already.
    /// @param buffer  its bytes, copied; may be null, which loads nothing
    /// @param size    in bytes
    /// @return as the other Load()
    bool Load(const char* buffer, int size);

    /// Releases its document; the reader may load another one.
    void Free();

    /// Whether there is a document to query.
    bool IsLoaded();

    /// @return libxml2's document (an `xmlDocPtr`), to be walked by the caller and not changed or
    ///         freed; null when no document is loaded
    _xmlDoc* GetDocument();

    /// @return the content of the first node, if that is a text or a CDATA section. An expression
    ///         that names an element yields the empty string.
    std::string GetXmlParamStr(const char* xpath);

    /// @return the attribute `name` of the first node, if that is an element; references to the
    ///         document's own entities are replaced
    std::string GetXmlParamAttr(const char* xpath, const char* name);

    /// @return the text as convNotEmptyDigitStringToInt() reads it: "1.5" yields 0
    int GetXmlParamInt(const char* xpath);

    /// @return the text as convNotEmptyDigitStringToDouble() reads it
    double GetXmlParamFloat(const char* xpath);

    /// @return whether the whole text is "true" in any case; "true " is not
    bool GetXmlParamBool(const char* xpath);

    /// @return exactly GetXmlParamInt(): in spite of the name the number is not scaled
    int GetXmlParamKBps(const char* xpath);

    /// The way to lists: an element to walk from, in time that does not grow with the list.
    /// @return the first node, if that is an element; otherwise an XmlElement that stands for no
    ///         element. "/*" names the outermost element.
    XmlElement GetXmlElement(const char* xpath);

    /// Any expression, with all it comes to: numbers, truth values and strings as well as node
    /// sets.
    /// @return of kind Error for a text that is no expression, a null one, a reader without a
    ///         document, an answer of more than 64 MiB, and for want of memory
    XPathAnswer Evaluate(const char* xpath);

private:
    HAS_LOCAL void adopt(_xmlDoc* document);

    _xmlDoc* m_document = nullptr;
    _xmlXPathContext* m_context = nullptr;
};

} // namespace hascommon
