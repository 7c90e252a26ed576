// The methods of the SDK's XML documents that the system never calls, as offeredaudio.h has those
// of the audio interfaces.
#pragma once

#include "platform/applications.h"

namespace posix
{

template <typename Interface>
struct Offered;

/// Of every node, the document itself included.
template <typename Interface>
struct UnusedNodeMethods : public Interface
{
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPWSTR *, UINT, LCID, DISPID *) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *,
                                     EXCEPINFO *, UINT *) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE get_nodeName(BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_nodeValue(VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_nodeValue(VARIANT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_nodeType(DOMNodeType *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_parentNode(IXMLDOMNode **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_childNodes(IXMLDOMNodeList **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_firstChild(IXMLDOMNode **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_lastChild(IXMLDOMNode **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_previousSibling(IXMLDOMNode **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_nextSibling(IXMLDOMNode **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_attributes(IXMLDOMNamedNodeMap **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE insertBefore(IXMLDOMNode *, VARIANT, IXMLDOMNode **) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE replaceChild(IXMLDOMNode *, IXMLDOMNode *, IXMLDOMNode **) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE removeChild(IXMLDOMNode *, IXMLDOMNode **) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE appendChild(IXMLDOMNode *, IXMLDOMNode **) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE hasChildNodes(VARIANT_BOOL *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ownerDocument(IXMLDOMDocument **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE cloneNode(VARIANT_BOOL, IXMLDOMNode **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_nodeTypeString(BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_text(BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_text(BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_specified(VARIANT_BOOL *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_definition(IXMLDOMNode **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_nodeTypedValue(VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_nodeTypedValue(VARIANT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_dataType(VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_dataType(BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_xml(BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE transformNode(IXMLDOMNode *, BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE selectNodes(BSTR, IXMLDOMNodeList **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE selectSingleNode(BSTR, IXMLDOMNode **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_parsed(VARIANT_BOOL *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_namespaceURI(BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_prefix(BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_baseName(BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE transformNodeToObject(IXMLDOMNode *, VARIANT) override
    {
        return E_NOTIMPL;
    }
};

template <>
struct Offered<IXMLDOMNode>
{
    using Type = UnusedNodeMethods<IXMLDOMNode>;
};

template <>
struct Offered<IXMLDOMDocument2>
{
    struct Type : public UnusedNodeMethods<IXMLDOMDocument2>
    {
        HRESULT STDMETHODCALLTYPE get_doctype(IXMLDOMDocumentType **) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_implementation(IXMLDOMImplementation **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE get_documentElement(IXMLDOMElement **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE putref_documentElement(IXMLDOMElement *) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE createElement(BSTR, IXMLDOMElement **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE createDocumentFragment(IXMLDOMDocumentFragment **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE createTextNode(BSTR, IXMLDOMText **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE createComment(BSTR, IXMLDOMComment **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE createCDATASection(BSTR, IXMLDOMCDATASection **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE
        createProcessingInstruction(BSTR, BSTR, IXMLDOMProcessingInstruction **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE createAttribute(BSTR, IXMLDOMAttribute **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE createEntityReference(BSTR, IXMLDOMEntityReference **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE getElementsByTagName(BSTR, IXMLDOMNodeList **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE createNode(VARIANT, BSTR, BSTR, IXMLDOMNode **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE nodeFromID(BSTR, IXMLDOMNode **) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_readyState(LONG *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_parseError(IXMLDOMParseError **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE get_url(BSTR *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_async(VARIANT_BOOL *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE abort() override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE loadXML(BSTR, VARIANT_BOOL *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE save(VARIANT) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_validateOnParse(VARIANT_BOOL *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE put_validateOnParse(VARIANT_BOOL) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_resolveExternals(VARIANT_BOOL *) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE put_resolveExternals(VARIANT_BOOL) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_preserveWhiteSpace(VARIANT_BOOL *) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE put_preserveWhiteSpace(VARIANT_BOOL) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE put_onreadystatechange(VARIANT) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE put_ondataavailable(VARIANT) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE put_ontransformnode(VARIANT) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_namespaces(IXMLDOMSchemaCollection **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE get_schemas(VARIANT *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE putref_schemas(VARIANT) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE validate(IXMLDOMParseError **) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE getProperty(BSTR, VARIANT *) override { return E_NOTIMPL; }
    };
};

} // namespace posix
