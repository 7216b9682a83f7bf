#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerChange.h>
#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Layers/GisLayerSubscription.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QString>

#include <functional>
#include <memory>

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
}
namespace Symbology {
class GisSymbolRenderer;
}
} // namespace Cartolith::Core

namespace Cartolith::Core::Layers {

namespace Providers {
class GisLayerProvider;
}

/// The abstract base of every map layer: name, visibility and scale range, the open, editing and dirty states
/// with a content revision, the style, the renderer and the coordinate system.
///
/// A layer is used by one thread at a time; even queries that look constant may fill caches. It is neither
/// copied nor moved.
class CARTOLITH_CORE_EXPORT GisLayer {
public:
    virtual ~GisLayer();
    /// Whether beginEdit() may succeed; false here.
    virtual bool canEdit() const;
    /// Everything in the layer, in units of its coordinate system; empty when there is nothing.
    virtual Shapes::GisExtent extent() const = 0;
    /// Reads what the layer is made of. Subclasses that read a source throw std::runtime_error when they
    /// cannot, and return false only when a callback stopped them.
    virtual bool open() = 0;
    virtual void close() = 0;
    /// The data source behind the layer; null when there is none. The layer keeps owning it.
    virtual const Providers::GisLayerProvider* layerProvider() const;
    virtual Providers::GisLayerProvider* layerProvider();

protected:
    /// Overridden by a kind of layer for its share of beginEdit(), commitEdit() and rollbackEdit(); an answer
    /// of false refuses the operation. True here.
    virtual bool beginEditCore();
    virtual bool commitEditCore();
    virtual bool rollbackEditCore();

public:
    GisLayer(const GisLayer&) = delete;
    GisLayer& operator=(const GisLayer&) = delete;

    const QString& name() const noexcept { return m_name; }
    void setName(const QString& name);

    bool visible() const noexcept { return m_visible; }
    void setVisible(bool visible) noexcept;

    /// Scale denominators between which the layer is drawn, both inclusive; 0 means no bound, and so does
    /// setting anything that is not finite and greater than 0.
    double minVisibleScale() const noexcept { return m_minVisibleScale; }
    void setMinVisibleScale(double scale) noexcept;
    double maxVisibleScale() const noexcept { return m_maxVisibleScale; }
    void setMaxVisibleScale(double scale) noexcept;
    bool hasVisibleScaleRange() const noexcept;
    /// A scale that is not finite or not greater than 0 counts as unknown: a visible layer is visible then.
    bool isVisibleAtScale(double scale) const noexcept;

    bool isOpen() const noexcept { return m_open; }
    /// Closing also ends editing and clears the dirty state, without commit or rollback.
    void setIsOpen(bool open) noexcept;

    bool isEditing() const noexcept { return m_editing; }
    bool isDirty() const noexcept { return m_dirty; }
    /// Grows with every change of content; a view compares it with the one it drew.
    quint64 contentRevision() const noexcept { return m_contentRevision; }
    /// Grows with every change of look, also where listeners still wait to be told.
    quint64 lookRevision() const noexcept { return m_lookRevision; }
    /// That of no other layer of the process, also of none that is gone: whoever keeps what was made from a
    /// layer can tell it from another one at the same address.
    quint64 number() const noexcept { return m_number; }
    /// Advances the revision, and marks the layer dirty while it is being edited.
    void markContentDirty() noexcept;
    /// Clears the dirty state only.
    void clearContentDirty() noexcept { m_dirty = false; }

    /// \name Listeners
    /// @{
    /// Has the listener called after every change, with all kinds of change that the operation made: once for
    /// each operation that changes something, once for a step of editing, for a rollback, for open() and for
    /// a ChangeGroup. The operation is complete then, and ids, queries, dirty state and undo stack tell of
    /// the state after it. It is not called by a setter that is given what is there already, nor where only
    /// the open, editing or dirty state changes, as on commit. What one operation sets and sets back may be
    /// told nevertheless.
    ///
    /// A change of the renderer through its pointer cannot be seen from here: call markLookChanged() after
    /// it, as markContentDirty() after a change of a shape through its pointer.
    ///
    /// A listener may do anything with the layer but destroy it. When a listener changes the layer, all
    /// listeners are called again afterwards; a listener that does so on every call makes an endless loop. An
    /// exception from a listener is dropped, because the change has already happened. Called in the order of
    /// subscription, whichever of the two functions was used, on the thread of the change, and not any more
    /// once the subscription is cancelled or gone: drop the result and the listener is gone.
    [[nodiscard]] GisLayerSubscription onChanged(std::function<void(GisLayerChanges changes)> listener);
    /// The same for changes of content only, that is whenever the revision has advanced.
    [[nodiscard]] GisLayerSubscription onContentChanged(std::function<void()> listener);
    /// Tells the listeners that the look has changed.
    void markLookChanged() noexcept { noteChange(GisLayerChange::Look); }

    /// While one lives, listeners wait: they are called once at the end, if anything has changed. For loading
    /// many shapes one by one. The layer lives longer.
    class CARTOLITH_CORE_EXPORT ChangeGroup {
    public:
        explicit ChangeGroup(GisLayer& layer) noexcept;
        ~ChangeGroup();
        ChangeGroup(const ChangeGroup&) = delete;
        ChangeGroup& operator=(const ChangeGroup&) = delete;

    private:
        GisLayer& m_layer;
    };
    /// @}

    /// Editing reports every failure by false and throws nothing of its own; lastError() of GisLayerOgrVector
    /// and of GisLayerOgrOnDemand has the reason of a failed commit.
    ///
    /// Starts an edit session. False when one is open, when canEdit() is false or when the layer refuses.
    bool beginEdit();
    /// Ends the session and keeps its changes. False outside a session, or when the layer could not: the
    /// session stays open then.
    bool commitEdit();
    /// Ends the session and takes its changes back; otherwise as commitEdit().
    bool rollbackEdit();

    GisLayerStyle& style() noexcept { return m_style; }
    const GisLayerStyle& style() const noexcept { return m_style; }

    /// Null when the layer is drawn with style(). The layer owns it.
    const Symbology::GisSymbolRenderer* symbolRenderer() const noexcept { return m_symbolRenderer.get(); }
    Symbology::GisSymbolRenderer* symbolRenderer() noexcept { return m_symbolRenderer.get(); }
    /// Takes ownership and destroys the renderer before.
    void setSymbolRenderer(std::unique_ptr<Symbology::GisSymbolRenderer> renderer);
    void clearSymbolRenderer();

    /// Null when unknown.
    std::shared_ptr<CoordinateSystems::CoordinateSystem> coordinateSystem() const {
        return m_coordinateSystem;
    }
    void setCoordinateSystem(std::shared_ptr<CoordinateSystems::CoordinateSystem> system);

protected:
    explicit GisLayer(const QString& name);
    /// Tells the listeners, unless they wait. Content is told by markContentDirty().
    void noteChange(GisLayerChanges changes) noexcept;

private:
    template <typename Value>
    void set(Value& member, const Value& value, GisLayerChange change);
    bool endEdit(bool accepted) noexcept;
    void tellListeners() noexcept;

    QString m_name;
    bool m_visible = true;
    double m_minVisibleScale = 0.0;
    double m_maxVisibleScale = 0.0;
    bool m_open = false;
    bool m_editing = false;
    bool m_dirty = false;
    quint64 m_contentRevision = 0;
    quint64 m_lookRevision = 0;
    const quint64 m_number;
    GisLayerStyle m_style;
    std::unique_ptr<Symbology::GisSymbolRenderer> m_symbolRenderer;
    std::shared_ptr<CoordinateSystems::CoordinateSystem> m_coordinateSystem;
    std::shared_ptr<Internal::ListenerList> m_listeners; // null until the first one
    int m_waiting = 0;                                   // change groups, and listeners being called
    GisLayerChanges m_changes;                           // not told yet
};

} // namespace Cartolith::Core::Layers
