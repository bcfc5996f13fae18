#pragma once
// State of scenes, views and the scene manager. Not installed.

#include <QList>

class IRZMessageFilter;
class IRZUndoRedoService;
class RZPresenter;
class RZUIScene;
class RZUIView;

class RZUIViewPrivate
{
public:
    RZUIView* m_pParent = nullptr;
    RZPresenter* m_pPresenter = nullptr;
    RZUIScene* m_pScene = nullptr;
    IRZUndoRedoService* m_pUndoRedoService = nullptr;
    bool m_bActive = true;
    int m_nType = 0;
    QList<RZUIView*> m_lstChildren;
};

class RZUIScenePrivate
{
public:
    bool m_bActive = true;
    IRZUndoRedoService* m_pUndoRedoService = nullptr;
    QList<RZUIView*> m_lstViews;
    QList<IRZMessageFilter*> m_lstFilters;
};

class RZUISceneManagerPrivate
{
public:
    QList<RZUIScene*> m_lstScenes;
    QList<IRZMessageFilter*> m_lstFilters;
};
